#pragma once
#include <Foundation/Foundation.h>

typedef NSString* NSDeviceDescriptionKey;
typedef NSString* NSImageHintKey;

@interface NSGraphicsContext : NSObject
@end

@interface NSImage : NSObject
@property NSSize size;
- (CGImageRef)CGImageForProposedRect:(NSRect*)proposedDestRect
                             context:(NSGraphicsContext*)referenceContext
                               hints:(NSDictionary<NSImageHintKey, id>*)hints;
@end

@interface NSCursor : NSObject
@property(class, readonly) NSCursor* currentSystemCursor;
@property(readonly, strong) NSImage* image;
@property(readonly) NSPoint hotSpot;
@end

@interface NSScreen : NSObject
@property(class, readonly, copy) NSArray<NSScreen*>* screens;
@property(readonly, copy) NSDictionary<NSDeviceDescriptionKey, id>* deviceDescription;
@property(readonly, copy) NSString* localizedName;
@end

typedef NSInteger NSModalResponse;
enum { NSAlertFirstButtonReturn = 1000 };

@interface NSButton : NSObject
@end

@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (NSURL*)URLForApplicationToOpenURL:(NSURL*)url;
@end

typedef enum : NSUInteger { NSApplicationActivateIgnoringOtherApps = 1 << 1 } NSApplicationActivationOptions;

@interface NSRunningApplication : NSObject
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options;
@end
