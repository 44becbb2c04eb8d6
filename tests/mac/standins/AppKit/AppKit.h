#pragma once
#include <Foundation/Foundation.h>

typedef NSString* NSDeviceDescriptionKey;
typedef NSString* NSImageHintKey;

@interface NSGraphicsContext : NSObject
@end

typedef enum : NSUInteger { NSCompositingOperationSourceOver = 2 } NSCompositingOperation;
static const NSRect NSZeroRect = {{0, 0}, {0, 0}};
static inline NSRect NSInsetRect(NSRect r, CGFloat dx, CGFloat dy) {
    return NSRect{{r.origin.x + dx, r.origin.y + dy}, {r.size.width - 2 * dx, r.size.height - 2 * dy}};
}

@interface NSImage : NSObject
- (instancetype)initWithContentsOfFile:(NSString*)fileName;
- (void)drawInRect:(NSRect)rect fromRect:(NSRect)fromRect operation:(NSCompositingOperation)op fraction:(CGFloat)delta;
@property NSSize size;
- (CGImageRef)CGImageForProposedRect:(NSRect*)proposedDestRect
                             context:(NSGraphicsContext*)referenceContext
                               hints:(NSDictionary<NSImageHintKey, id>*)hints;
@end

@interface NSCursor : NSObject
@property(class, readonly) NSCursor* currentSystemCursor;
@property(class, readonly, strong) NSCursor* arrowCursor;
@property(class, readonly, strong) NSCursor* openHandCursor;
@property(class, readonly, strong) NSCursor* closedHandCursor;
@property(class, readonly, strong) NSCursor* resizeLeftRightCursor;
@property(class, readonly, strong) NSCursor* resizeUpDownCursor;
@property(class, readonly, strong) NSCursor* crosshairCursor;
- (void)set;
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

typedef NSString* NSUserInterfaceItemIdentifier;

static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return NSRect{{x, y}, {w, h}}; }

@interface NSEvent : NSObject
@property(readonly) NSPoint locationInWindow;
@property(readonly, copy) NSString* characters;
@end

@interface NSResponder : NSObject
@property(readonly) BOOL acceptsFirstResponder;
- (void)mouseDown:(NSEvent*)event;
- (void)mouseDragged:(NSEvent*)event;
- (void)mouseUp:(NSEvent*)event;
- (void)mouseMoved:(NSEvent*)event;
- (void)keyDown:(NSEvent*)event;
- (void)cancelOperation:(id)sender;
@end

@interface NSView : NSResponder
- (instancetype)initWithFrame:(NSRect)frameRect;
- (void)addSubview:(NSView*)view;
- (void)drawRect:(NSRect)dirtyRect;
- (void)setNeedsDisplayInRect:(NSRect)invalidRect;
- (NSPoint)convertPoint:(NSPoint)point fromView:(NSView*)view;
@property NSRect frame;
@property NSRect bounds;
@property(getter=isHidden) BOOL hidden;
@end

@interface NSColor : NSObject
+ (NSColor*)colorWithCalibratedWhite:(CGFloat)white alpha:(CGFloat)alpha;
@property(class, strong, readonly) NSColor* clearColor;
- (void)setFill;
- (void)setStroke;
@end

typedef enum : NSUInteger { NSWindingRuleNonZero = 0, NSWindingRuleEvenOdd = 1 } NSWindingRule;

@interface NSBezierPath : NSObject
+ (NSBezierPath*)bezierPathWithRect:(NSRect)rect;
- (void)appendBezierPathWithRect:(NSRect)rect;
- (void)setLineDash:(const CGFloat*)pattern count:(NSInteger)count phase:(CGFloat)phase;
- (void)fill;
- (void)stroke;
@property NSWindingRule windingRule;
@property CGFloat lineWidth;
@end

@interface NSFont : NSObject
+ (NSFont*)systemFontOfSize:(CGFloat)fontSize;
@end

typedef enum : NSInteger { NSTextAlignmentLeft = 0, NSTextAlignmentCenter = 1 } NSTextAlignment;

@interface NSParagraphStyle : NSObject
@end

@interface NSMutableParagraphStyle : NSParagraphStyle
@property NSTextAlignment alignment;
@end

typedef NSString* NSAttributedStringKey;
extern const NSAttributedStringKey NSFontAttributeName;
extern const NSAttributedStringKey NSForegroundColorAttributeName;
extern const NSAttributedStringKey NSParagraphStyleAttributeName;

@interface NSString (NSStringDrawing)
- (void)drawInRect:(NSRect)rect withAttributes:(NSDictionary<NSAttributedStringKey, id>*)attrs;
@end

@interface NSControl : NSView
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* stringValue;
@property(weak) id target;
@property SEL action;
@end

@interface NSTextField : NSControl
+ (instancetype)labelWithString:(NSString*)stringValue;
@end

@interface NSButton : NSControl
+ (instancetype)buttonWithTitle:(NSString*)title target:(id)target action:(SEL)action;
@property(copy) NSString* title;
@property(copy) NSString* keyEquivalent;
- (void)performClick:(id)sender;
@end

@interface NSTableHeaderView : NSView
@end

@interface NSTableColumn : NSObject
- (instancetype)initWithIdentifier:(NSUserInterfaceItemIdentifier)identifier;
@property CGFloat width;
@end

@class NSTableView;
@protocol NSTableViewDataSource <NSObject>
@optional
- (NSInteger)numberOfRowsInTableView:(NSTableView*)tableView;
- (id)tableView:(NSTableView*)tableView objectValueForTableColumn:(NSTableColumn*)tableColumn row:(NSInteger)row;
@end
@protocol NSTableViewDelegate <NSObject>
@optional
- (void)tableViewSelectionDidChange:(NSNotification*)notification;
@end

@interface NSTableView : NSControl
- (void)addTableColumn:(NSTableColumn*)tableColumn;
@property(strong) NSTableHeaderView* headerView;
@property(weak) id<NSTableViewDataSource> dataSource;
@property(weak) id<NSTableViewDelegate> delegate;
@property SEL doubleAction;
@property(readonly) NSInteger selectedRow;
- (void)reloadData;
- (void)selectRowIndexes:(NSIndexSet*)indexes byExtendingSelection:(BOOL)extend;
- (void)scrollRowToVisible:(NSInteger)row;
- (void)deselectAll:(id)sender;
@end

typedef enum : NSUInteger { NSNoBorder = 0, NSLineBorder = 1, NSBezelBorder = 2 } NSBorderType;

@interface NSScrollView : NSView
@property BOOL hasVerticalScroller;
@property NSBorderType borderType;
@property(strong) NSView* documentView;
@end

// NS_OPTIONS types are plain integers in C++, their flags free to combine.
typedef NSUInteger NSWindowStyleMask;
enum : NSUInteger {
    NSWindowStyleMaskBorderless = 0,
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
};
typedef enum : NSUInteger { NSBackingStoreBuffered = 2 } NSBackingStoreType;
typedef NSInteger NSWindowLevel;
static const NSWindowLevel NSFloatingWindowLevel = 3;
static const NSWindowLevel NSScreenSaverWindowLevel = 1000;

@class NSWindow;
@protocol NSWindowDelegate <NSObject>
@optional
- (BOOL)windowShouldClose:(NSWindow*)sender;
@end

@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property NSWindowLevel level;
@property(weak) id<NSWindowDelegate> delegate;
@property(strong) NSView* contentView;
@property(copy) NSString* title;
@property(readonly, getter=isVisible) BOOL visible;
- (void)center;
- (void)makeKeyAndOrderFront:(id)sender;
- (BOOL)makeFirstResponder:(NSResponder*)responder;
- (void)orderOut:(id)sender;
- (void)setFrame:(NSRect)frameRect display:(BOOL)flag;
@property(getter=isOpaque) BOOL opaque;
@property(copy) NSColor* backgroundColor;
@property BOOL acceptsMouseMovedEvents;
@property(readonly) BOOL canBecomeKeyWindow;
@end

@interface NSPanel : NSWindow
@end

@interface NSApplication : NSResponder
- (void)activateIgnoringOtherApps:(BOOL)flag;
@end
extern NSApplication* NSApp;

@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
- (void)beginSheetModalForWindow:(NSWindow*)sheetWindow completionHandler:(void (^)(NSModalResponse returnCode))handler;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (NSURL*)URLForApplicationToOpenURL:(NSURL*)url;
@end

typedef NSUInteger NSApplicationActivationOptions;
enum : NSUInteger { NSApplicationActivateIgnoringOtherApps = 1 << 1 };

@interface NSRunningApplication : NSObject
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options;
@end
