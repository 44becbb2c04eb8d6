#pragma once
#include <IOSurface/IOSurface.h>
#include <OpenGL/OpenGL.h>

#ifdef __cplusplus
extern "C" {
#endif
CGLError CGLTexImageIOSurface2D(CGLContextObj ctx, GLenum target, GLenum internal_format, GLsizei width,
                                GLsizei height, GLenum format, GLenum type, IOSurfaceRef ioSurface, GLuint plane);
#ifdef __cplusplus
}
#endif
