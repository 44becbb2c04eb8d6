#pragma once
#include <OpenGL/gltypes.h>

#define GL_FALSE 0
#define GL_TRUE 1
#define GL_QUADS 0x0007
#define GL_ONE 1
#define GL_ONE_MINUS_SRC_ALPHA 0x0303
#define GL_BLEND 0x0BE2
#define GL_UNPACK_ROW_LENGTH 0x0CF2
#define GL_UNPACK_ALIGNMENT 0x0CF5
#define GL_MODELVIEW 0x1700
#define GL_PROJECTION 0x1701
#define GL_RGBA 0x1908
#define GL_NEAREST 0x2600
#define GL_TEXTURE_MAG_FILTER 0x2800
#define GL_TEXTURE_MIN_FILTER 0x2801
#define GL_TEXTURE_WRAP_S 0x2802
#define GL_TEXTURE_WRAP_T 0x2803
#define GL_RGBA8 0x8058
#define GL_BGRA 0x80E1
#define GL_CLAMP_TO_EDGE 0x812F
#define GL_UNSIGNED_INT_8_8_8_8_REV 0x8367

#ifdef __cplusplus
extern "C" {
#endif
void glEnable(GLenum cap);
void glDisable(GLenum cap);
void glPixelStorei(GLenum pname, GLint param);
void glGenTextures(GLsizei n, GLuint* textures);
void glBindTexture(GLenum target, GLuint texture);
void glDeleteTextures(GLsizei n, const GLuint* textures);
void glTexParameteri(GLenum target, GLenum pname, GLint param);
void glTexImage2D(GLenum target, GLint level, GLint internalformat, GLsizei width, GLsizei height, GLint border,
                  GLenum format, GLenum type, const GLvoid* pixels);
void glViewport(GLint x, GLint y, GLsizei width, GLsizei height);
void glMatrixMode(GLenum mode);
void glLoadIdentity(void);
void glOrtho(GLdouble left, GLdouble right, GLdouble bottom, GLdouble top, GLdouble zNear, GLdouble zFar);
void glBegin(GLenum mode);
void glEnd(void);
void glTexCoord2f(GLfloat s, GLfloat t);
void glVertex2f(GLfloat x, GLfloat y);
void glColor4f(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha);
void glColorMask(GLboolean red, GLboolean green, GLboolean blue, GLboolean alpha);
void glBlendFunc(GLenum sfactor, GLenum dfactor);
void glFinish(void);
#ifdef __cplusplus
}
#endif
