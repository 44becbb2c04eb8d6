#pragma once
#include <OpenGL/gltypes.h>

#define GL_TEXTURE_RECTANGLE_ARB 0x84F5
#define GL_UNPACK_CLIENT_STORAGE_APPLE 0x85B2
#define GL_FRAMEBUFFER_COMPLETE_EXT 0x8CD5
#define GL_COLOR_ATTACHMENT0_EXT 0x8CE0
#define GL_FRAMEBUFFER_EXT 0x8D40

#ifdef __cplusplus
extern "C" {
#endif
void glGenFramebuffersEXT(GLsizei n, GLuint* framebuffers);
void glDeleteFramebuffersEXT(GLsizei n, const GLuint* framebuffers);
void glBindFramebufferEXT(GLenum target, GLuint framebuffer);
void glFramebufferTexture2DEXT(GLenum target, GLenum attachment, GLenum textarget, GLuint texture, GLint level);
GLenum glCheckFramebufferStatusEXT(GLenum target);
#ifdef __cplusplus
}
#endif
