#pragma once
#include <CoreGraphics/CoreGraphics.h>

typedef signed char BOOL;
#ifndef nil
#define nil nullptr
#endif
typedef unsigned long NSUInteger;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;

__attribute__((objc_root_class))
@interface NSObject
- (instancetype)retain;
- (void)release;
@end

@interface NSString : NSObject
@property(readonly) const char* UTF8String;
@end

@interface NSNumber : NSObject
@property(readonly) unsigned int unsignedIntValue;
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject
- (ObjectType)objectForKey:(KeyType)key;
@end

@interface NSArray<ObjectType> : NSObject
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
@end

// The class of @"..." literals.
@interface NSConstantString : NSString
@end
