#pragma once
#include <stdint.h>

typedef uint32_t GLenum;
typedef uint8_t GLboolean;
typedef uint32_t GLbitfield;
typedef int32_t GLint;
typedef int32_t GLsizei;
typedef uint32_t GLuint;
typedef float GLfloat;
typedef double GLdouble;
typedef void GLvoid;
