#include "MacRegionOverlay.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

#include <algorithm>

using qcp::platform::MainQueueLink;
using qcp::platform::OverlayCursor;
using qcp::platform::OverlayHandleRect;
using qcp::platform::Point;
using qcp::platform::Rect;
using qcp::platform::RegionOverlayInput;
using qcp::platform::RegionOverlayState;
using qcp::platform::ScreenInfo;
using Link = MainQueueLink<RegionOverlayInput>;

namespace {
constexpr CGFloat kInsideWhite = 0.1, kOutsideBlack = 0.7;
constexpr CGFloat kTextInset = 10, kTextWidth = 310, kTextHeight = 40, kFontSize = 13;

NSRect RectOf(const Rect& rect) { return NSMakeRect(rect.x, rect.y, rect.width, rect.height); }

NSCursor* CursorFor(OverlayCursor cursor) {
    switch (cursor) {
    case OverlayCursor::OpenHand: return NSCursor.openHandCursor;
    case OverlayCursor::ClosedHand: return NSCursor.closedHandCursor;
    case OverlayCursor::ResizeLeftRight: return NSCursor.resizeLeftRightCursor;
    case OverlayCursor::ResizeUpDown: return NSCursor.resizeUpDownCursor;
    // AppKit has no public diagonal resize cursor: the crosshair says "drag a corner".
    case OverlayCursor::ResizeDiagonalLR:
    case OverlayCursor::ResizeDiagonalRL: return NSCursor.crosshairCursor;
    case OverlayCursor::Arrow: break;
    }
    return NSCursor.arrowCursor;
}
} // namespace

// A borderless panel that may still become the key window (for the keyboard).
@interface QCPOverlayPanel : NSPanel
@end

@implementation QCPOverlayPanel
- (BOOL)canBecomeKeyWindow {
    return YES;
}
@end

@interface QCPOverlayView : NSView {
    std::shared_ptr<Link> _link;
    RegionOverlayState _state;
    NSImage* _knob;
    NSImage* _knobDown;
    QCPOverlayPanel* _panel;
}
- (instancetype)initWithLink:(std::shared_ptr<Link>)link resources:(NSString*)folder;
- (void)showOn:(const ScreenInfo&)screen state:(const RegionOverlayState&)state;
- (void)update:(const RegionOverlayState&)state area:(NSRect)area;
- (void)close;
@end

@implementation QCPOverlayView

- (instancetype)initWithLink:(std::shared_ptr<Link>)link resources:(NSString*)folder {
    if ((self = [super initWithFrame:NSMakeRect(0, 0, 1, 1)])) {
        _link = std::move(link);
        // Missing pictures leave these nil; plain squares stand in.
        _knob = [[NSImage alloc] initWithContentsOfFile:[folder stringByAppendingPathComponent:@"knob.svg"]];
        _knobDown = [[NSImage alloc] initWithContentsOfFile:[folder stringByAppendingPathComponent:@"knobDown.svg"]];
    }
    return self;
}

- (void)dealloc {
    [_knob release];
    [_knobDown release];
    [_panel release];
    [super dealloc];
}

- (void)showOn:(const ScreenInfo&)screen state:(const RegionOverlayState&)state {
    _state = state;
    if (!_panel) {
        _panel = [[QCPOverlayPanel alloc] initWithContentRect:RectOf(screen.frame)
                                                    styleMask:NSWindowStyleMaskBorderless
                                                      backing:NSBackingStoreBuffered
                                                        defer:NO];
        _panel.opaque = NO;
        _panel.backgroundColor = NSColor.clearColor;
        _panel.level = NSScreenSaverWindowLevel;
        _panel.acceptsMouseMovedEvents = YES;
        _panel.releasedWhenClosed = NO;
        self.frame = NSMakeRect(0, 0, screen.frame.width, screen.frame.height);
        _panel.contentView = self;
    }
    [_panel setFrame:RectOf(screen.frame) display:YES];
    [_panel makeKeyAndOrderFront:nil];
    [_panel makeFirstResponder:self];
    [NSApp activateIgnoringOtherApps:YES];
    [CursorFor(_state.cursor) set];
}

- (void)update:(const RegionOverlayState&)state area:(NSRect)area {
    _state = state;
    [self setNeedsDisplayInRect:area];
    [CursorFor(_state.cursor) set];
}

- (void)close {
    [_panel orderOut:nil];
    [NSCursor.arrowCursor set];
}

- (BOOL)acceptsFirstResponder {
    return YES;
}

- (void)drawRect:(NSRect)dirty {
    (void)dirty;
    const CGFloat alpha = std::clamp(CGFloat(_state.alpha), CGFloat(0), CGFloat(1));
    if (alpha <= 0) return;
    const NSRect selection = RectOf(_state.selection);
    [[NSColor colorWithCalibratedWhite:1 alpha:kInsideWhite * alpha] setFill];
    [[NSBezierPath bezierPathWithRect:selection] fill];
    NSBezierPath* outside = [NSBezierPath bezierPathWithRect:self.bounds];
    [outside appendBezierPathWithRect:selection];
    outside.windingRule = NSWindingRuleEvenOdd;
    [[NSColor colorWithCalibratedWhite:0 alpha:kOutsideBlack * alpha] setFill];
    [outside fill];
    if (selection.size.width >= 1 && selection.size.height >= 1) {
        // Black dots on white ones, so the frame shows over light and dark alike.
        NSBezierPath* frame = [NSBezierPath bezierPathWithRect:NSInsetRect(selection, 0.5, 0.5)];
        frame.lineWidth = 1;
        [[NSColor colorWithCalibratedWhite:1 alpha:alpha] setStroke];
        [frame stroke];
        const CGFloat dots[] = {2, 2};
        [frame setLineDash:dots count:2 phase:0];
        [[NSColor colorWithCalibratedWhite:0 alpha:alpha] setStroke];
        [frame stroke];
    }
    for (int handle = 1; handle <= 8; ++handle) {
        const NSRect where = RectOf(OverlayHandleRect(_state.selection, handle));
        const bool down = handle == _state.selectedCorner;
        if (NSImage* picture = down ? _knobDown : _knob) {
            [picture drawInRect:where fromRect:NSZeroRect operation:NSCompositingOperationSourceOver fraction:alpha];
        } else {
            [[NSColor colorWithCalibratedWhite:(down ? 0.3 : 1.0) alpha:alpha] setFill];
            [[NSBezierPath bezierPathWithRect:where] fill];
        }
    }
    if (_state.infoBox.width > 0 && _state.infoBox.height > 0) {
        [[NSColor colorWithCalibratedWhite:0 alpha:alpha] setFill];
        [[NSBezierPath bezierPathWithRect:RectOf(_state.infoBox)] fill];
        NSMutableParagraphStyle* centred = [[NSMutableParagraphStyle alloc] init];
        centred.alignment = NSTextAlignmentCenter;
        NSDictionary* attributes = @{
            NSFontAttributeName : [NSFont systemFontOfSize:kFontSize],
            NSForegroundColorAttributeName : [NSColor colorWithCalibratedWhite:1 alpha:alpha],
            NSParagraphStyleAttributeName : centred,
        };
        const NSRect text = NSMakeRect(_state.infoBox.x + kTextInset, _state.infoBox.y + kTextInset, kTextWidth,
                                       kTextHeight);
        [[NSString stringWithUTF8String:_state.message.c_str()] drawInRect:text withAttributes:attributes];
        [centred release];
    }
}

// The pointer's place in the view, to one of the input's mouse calls.
- (void)send:(void (RegionOverlayInput::*)(Point))call event:(NSEvent*)event {
    const NSPoint at = [self convertPoint:event.locationInWindow fromView:nil];
    Link::Send(_link, [call, point = Point{at.x, at.y}](RegionOverlayInput& input) { (input.*call)(point); });
}

- (void)mouseMoved:(NSEvent*)event {
    [self send:&RegionOverlayInput::MouseMoved event:event];
}
- (void)mouseDown:(NSEvent*)event {
    [self send:&RegionOverlayInput::MouseDown event:event];
}
- (void)mouseDragged:(NSEvent*)event {
    [self send:&RegionOverlayInput::MouseDragged event:event];
}
- (void)mouseUp:(NSEvent*)event {
    [self send:&RegionOverlayInput::MouseUp event:event];
}

- (void)keyDown:(NSEvent*)event {
    NSString* characters = event.characters;
    if (characters.length == 0) return;
    const uint32_t character = [characters characterAtIndex:0];
    // Escape is the panel's cancel operation.
    if (character == 0x1B) {
        [self cancelOperation:nil];
        return;
    }
    Link::Send(_link, [character](RegionOverlayInput& input) { input.KeyDown(character); });
}

- (void)cancelOperation:(id)sender {
    (void)sender;
    Link::Send(_link, [](RegionOverlayInput& input) { input.CancelOperation(); });
}

@end

// What the overlay's view is made of, made anywhere; the view itself is made
// on the main thread when first shown.
@interface QCPOverlayController : NSObject {
    std::shared_ptr<Link> _link;
    NSString* _folder;
    QCPOverlayView* _view;
}
- (instancetype)initWithLink:(std::shared_ptr<Link>)link resources:(NSString*)folder;
@end

@implementation QCPOverlayController

- (instancetype)initWithLink:(std::shared_ptr<Link>)link resources:(NSString*)folder {
    if ((self = [super init])) {
        _link = std::move(link);
        _folder = [folder retain];
    }
    return self;
}

- (void)dealloc {
    [_view release];
    [_folder release];
    [super dealloc];
}

- (void)showOn:(const ScreenInfo&)screen state:(const RegionOverlayState&)state {
    if (!_view) _view = [[QCPOverlayView alloc] initWithLink:_link resources:_folder];
    [_view showOn:screen state:state];
}

- (void)update:(const RegionOverlayState&)state area:(NSRect)area {
    [_view update:state area:area];
}

- (void)close {
    [_view close];
}

@end

namespace qcp::platform::mac {

MacRegionOverlay::MacRegionOverlay(RegionOverlayInput& input, std::string resourceFolder)
    : fLink(std::make_shared<Link>(input)),
      fController([[QCPOverlayController alloc] initWithLink:fLink
                                                   resources:[NSString stringWithUTF8String:resourceFolder.c_str()]]) {}

MacRegionOverlay::~MacRegionOverlay() {
    fLink->Cut();
    QCPOverlayController* controller = static_cast<QCPOverlayController*>(fController);
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller close];
      [controller release];
    });
}

void MacRegionOverlay::Show(const ScreenInfo& screen, const RegionOverlayState& state) {
    QCPOverlayController* controller = static_cast<QCPOverlayController*>(fController);
    const ScreenInfo shownScreen = screen;
    const RegionOverlayState shown = state;
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller showOn:shownScreen state:shown];
    });
}

void MacRegionOverlay::Update(const RegionOverlayState& state, const Rect& area) {
    QCPOverlayController* controller = static_cast<QCPOverlayController*>(fController);
    const RegionOverlayState shown = state;
    const NSRect dirty = NSMakeRect(area.x, area.y, area.width, area.height);
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller update:shown area:dirty];
    });
}

} // namespace qcp::platform::mac
