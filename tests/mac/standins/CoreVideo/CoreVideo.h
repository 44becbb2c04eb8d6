#pragma once
#include <CoreGraphics/CoreGraphics.h>

typedef int32_t CVReturn;
enum { kCVReturnSuccess = 0 };
typedef uint64_t CVOptionFlags;

struct CVSMPTETime {
    int16_t subframes;
    int16_t subframeDivisor;
    uint32_t counter;
    uint32_t type;
    uint32_t flags;
    int16_t hours;
    int16_t minutes;
    int16_t seconds;
    int16_t frames;
};
typedef struct CVSMPTETime CVSMPTETime;
struct CVTimeStamp {
    uint32_t version;
    int32_t videoTimeScale;
    int64_t videoTime;
    uint64_t hostTime;
    double rateScalar;
    int64_t videoRefreshPeriod;
    CVSMPTETime smpteTime;
    uint64_t flags;
    uint64_t reserved;
};
typedef struct CVTimeStamp CVTimeStamp;

typedef struct __CVDisplayLink* CVDisplayLinkRef;
typedef CVReturn (*CVDisplayLinkOutputCallback)(CVDisplayLinkRef displayLink, const CVTimeStamp* inNow,
                                                const CVTimeStamp* inOutputTime, CVOptionFlags flagsIn,
                                                CVOptionFlags* flagsOut, void* displayLinkContext);

#ifdef __cplusplus
extern "C" {
#endif
CVReturn CVDisplayLinkCreateWithCGDisplay(CGDirectDisplayID displayID, CVDisplayLinkRef* displayLinkOut);
CVReturn CVDisplayLinkSetOutputCallback(CVDisplayLinkRef displayLink, CVDisplayLinkOutputCallback callback,
                                        void* userInfo);
CVReturn CVDisplayLinkStart(CVDisplayLinkRef displayLink);
CVReturn CVDisplayLinkStop(CVDisplayLinkRef displayLink);
Boolean CVDisplayLinkIsRunning(CVDisplayLinkRef displayLink);
void CVDisplayLinkRelease(CVDisplayLinkRef displayLink);
#ifdef __cplusplus
}
#endif
