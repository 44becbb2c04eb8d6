#pragma once
#include <CoreGraphics/CoreGraphics.h>
#include <sys/types.h>

typedef signed char BOOL;
#define YES ((BOOL)1)
#define NO ((BOOL)0)
#ifndef nil
#define nil nullptr
#endif
typedef unsigned long NSUInteger;
typedef long NSInteger;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
- (instancetype)init;
- (instancetype)retain;
- (void)release;
- (void)dealloc;
@end

typedef uint16_t unichar;

@interface NSString : NSObject
+ (instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@property(readonly) const char* UTF8String;
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
- (NSString*)stringByAppendingPathComponent:(NSString*)str;
@end

@interface NSError : NSObject
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithPath:(NSString*)path;
@end

@interface NSBundle : NSObject
+ (instancetype)bundleWithURL:(NSURL*)url;
@property(readonly, copy) NSString* executablePath;
@end

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

@interface NSNumber : NSObject
@property(readonly) unsigned int unsignedIntValue;
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject
+ (instancetype)dictionaryWithObjects:(const ObjectType[])objects forKeys:(const KeyType[])keys count:(NSUInteger)cnt;
- (ObjectType)objectForKey:(KeyType)key;
@end

@interface NSArray<ObjectType> : NSObject
+ (instancetype)arrayWithObjects:(const ObjectType[])objects count:(NSUInteger)cnt;
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
@end

// The class of @"..." literals.
@interface NSConstantString : NSString
@end

typedef enum : NSInteger {
    NSTaskTerminationReasonExit = 1,
    NSTaskTerminationReasonUncaughtSignal = 2,
} NSTaskTerminationReason;

@interface NSTask : NSObject
@property(copy) NSURL* executableURL;
@property(copy) NSArray<NSString*>* arguments;
@property(copy) void (^terminationHandler)(NSTask*);
@property(readonly) int processIdentifier;
@property(readonly) int terminationStatus;
@property(readonly) NSTaskTerminationReason terminationReason;
- (BOOL)launchAndReturnError:(NSError**)error;
@end

@protocol NSObject
@end

@interface NSIndexSet : NSObject
+ (instancetype)indexSetWithIndex:(NSUInteger)value;
@end

@interface NSNotification : NSObject
@property(readonly, retain) id object;
@end
