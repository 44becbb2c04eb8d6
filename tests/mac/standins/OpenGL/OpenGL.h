#pragma once
#include <OpenGL/gltypes.h>

typedef struct _CGLContextObject* CGLContextObj;
typedef struct _CGLPixelFormatObject* CGLPixelFormatObj;
typedef enum : int32_t { kCGLPFAAccelerated = 73 } CGLPixelFormatAttribute;
typedef enum : int32_t { kCGLNoError = 0 } CGLError;

#ifdef __cplusplus
extern "C" {
#endif
CGLError CGLChoosePixelFormat(const CGLPixelFormatAttribute* attribs, CGLPixelFormatObj* pix, GLint* npix);
CGLError CGLReleasePixelFormat(CGLPixelFormatObj pix);
CGLError CGLCreateContext(CGLPixelFormatObj pix, CGLContextObj share, CGLContextObj* ctx);
CGLError CGLDestroyContext(CGLContextObj ctx);
CGLError CGLSetCurrentContext(CGLContextObj ctx);
#ifdef __cplusplus
}
#endif
