#pragma once
#include <CoreFoundation/CoreFoundation.h>

typedef double CGFloat;
struct CGPoint {
    CGFloat x;
    CGFloat y;
};
typedef struct CGPoint CGPoint;
struct CGSize {
    CGFloat width;
    CGFloat height;
};
typedef struct CGSize CGSize;
struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef struct CGRect CGRect;

typedef uint32_t CGDirectDisplayID;
typedef int32_t CGError;
enum { kCGErrorSuccess = 0 };

typedef struct CGDisplayMode* CGDisplayModeRef;
typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventSource* CGEventSourceRef;
typedef struct CGImage* CGImageRef;
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGContext* CGContextRef;

typedef uint32_t CGWindowID;
enum { kCGNullWindowID = 0 };
// CF_OPTIONS types are plain integers in C++, their flags free to combine.
typedef uint32_t CGWindowListOption;
enum : uint32_t {
    kCGWindowListOptionAll = 0,
    kCGWindowListOptionOnScreenOnly = (1 << 0),
    kCGWindowListOptionIncludingWindow = (1 << 3),
};
typedef uint32_t CGWindowImageOption;
enum : uint32_t { kCGWindowImageBoundsIgnoreFraming = (1 << 0) };

typedef enum : uint32_t { kCGImageAlphaPremultipliedFirst = 2 } CGImageAlphaInfo;
typedef uint32_t CGBitmapInfo;
enum : uint32_t { kCGBitmapByteOrder32Little = (2 << 12) };

#ifdef __cplusplus
extern "C" {
#endif
extern const CFStringRef kCGColorSpaceSRGB;
extern const CGRect CGRectNull;
extern const CFStringRef kCGWindowNumber;
extern const CFStringRef kCGWindowName;
extern const CFStringRef kCGWindowOwnerName;
extern const CFStringRef kCGWindowOwnerPID;
extern const CFStringRef kCGWindowBounds;
extern const CFStringRef kCGWindowIsOnscreen;

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID relativeToWindow);
bool CGRectMakeWithDictionaryRepresentation(CFDictionaryRef dict, CGRect* rect);
CFDictionaryRef CGRectCreateDictionaryRepresentation(CGRect rect);

CGDirectDisplayID CGMainDisplayID(void);
CGError CGGetActiveDisplayList(uint32_t maxDisplays, CGDirectDisplayID* activeDisplays, uint32_t* displayCount);
CGRect CGDisplayBounds(CGDirectDisplayID display);
CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display);
double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode);
size_t CGDisplayModeGetWidth(CGDisplayModeRef mode);
size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef mode);
size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef mode);
void CGDisplayModeRelease(CGDisplayModeRef mode);

CGEventRef CGEventCreate(CGEventSourceRef source);
CGPoint CGEventGetLocation(CGEventRef event);

bool CGPreflightScreenCaptureAccess(void);

size_t CGImageGetWidth(CGImageRef image);
size_t CGImageGetHeight(CGImageRef image);
CGImageRef CGImageRetain(CGImageRef image);
void CGImageRelease(CGImageRef image);

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name);
void CGColorSpaceRelease(CGColorSpaceRef space);
CGContextRef CGBitmapContextCreate(void* data, size_t width, size_t height, size_t bitsPerComponent,
                                   size_t bytesPerRow, CGColorSpaceRef space, uint32_t bitmapInfo);
void CGContextDrawImage(CGContextRef c, CGRect rect, CGImageRef image);
void CGContextRelease(CGContextRef c);
#ifdef __cplusplus
}
#endif
