#include "MacGLCompositor.h"

#include <IOSurface/IOSurface.h>
#include <OpenGL/CGLIOSurface.h>
#include <OpenGL/gl.h>
#include <OpenGL/glext.h>

#include <algorithm>
#include <cmath>

namespace qcp::platform::mac {
namespace {
constexpr GLenum kRectangle = GL_TEXTURE_RECTANGLE_ARB;

// The IOSurface behind `surface`, retained; null for a surface over other
// memory (whose registry id may even name someone else's IOSurface).
IOSurfaceRef IOSurfaceOf(const Surface& surface) {
    IOSurfaceRef found = IOSurfaceLookup(surface.id());
    if (found && IOSurfaceGetBaseAddress(found) != surface.baseAddress()) {
        CFRelease(found);
        return nullptr;
    }
    return found;
}

void SetSampling() {
    glTexParameteri(kRectangle, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(kRectangle, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(kRectangle, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(kRectangle, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

// GL names made for one call, deleted at its end.
struct Names {
    GLuint targetTexture = 0, sourceTexture = 0, framebuffer = 0;
    ~Names() {
        if (framebuffer) glDeleteFramebuffersEXT(1, &framebuffer);
        const GLuint textures[] = {targetTexture, sourceTexture};
        for (GLuint texture : textures)
            if (texture) glDeleteTextures(1, &texture);
    }
};

// A rectangle texture over the IOSurface of `surface`'s size; 0 on failure.
GLuint TextureOver(CGLContextObj context, IOSurfaceRef memory, const Surface& surface) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(kRectangle, texture);
    if (CGLTexImageIOSurface2D(context, kRectangle, GL_RGBA, GLsizei(surface.width()), GLsizei(surface.height()),
                               GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, memory, 0) != kCGLNoError) {
        glDeleteTextures(1, &texture);
        return 0;
    }
    SetSampling();
    return texture;
}

// Binds a framebuffer drawing into `texture`, with the viewport and the
// projection in the target's pixels, y down from the top row (texel row 0 is
// the surface's first row in memory); false when the framebuffer is not
// complete.
bool DrawInto(Names& names, GLuint texture, const Surface& target) {
    glGenFramebuffersEXT(1, &names.framebuffer);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, names.framebuffer);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, kRectangle, texture, 0);
    if (glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) != GL_FRAMEBUFFER_COMPLETE_EXT) return false;
    const double width = target.width(), height = target.height();
    glViewport(0, 0, GLsizei(width), GLsizei(height));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, width, 0, height, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    return true;
}

// One quad over `where`, sampling `from` (both in pixels).
void Quad(const Rect& from, const Rect& where) {
    glBegin(GL_QUADS);
    glTexCoord2f(GLfloat(from.x), GLfloat(from.y));
    glVertex2f(GLfloat(where.x), GLfloat(where.y));
    glTexCoord2f(GLfloat(from.MaxX()), GLfloat(from.y));
    glVertex2f(GLfloat(where.MaxX()), GLfloat(where.y));
    glTexCoord2f(GLfloat(from.MaxX()), GLfloat(from.MaxY()));
    glVertex2f(GLfloat(where.MaxX()), GLfloat(where.MaxY()));
    glTexCoord2f(GLfloat(from.x), GLfloat(from.MaxY()));
    glVertex2f(GLfloat(where.x), GLfloat(where.MaxY()));
    glEnd();
}

// Makes the context current for a scope.
class Current {
public:
    explicit Current(CGLContextObj context) { CGLSetCurrentContext(context); }
    ~Current() { CGLSetCurrentContext(nullptr); }
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;
};

// A surface's IOSurface held for a scope.
struct Held {
    IOSurfaceRef surface;
    explicit Held(IOSurfaceRef held) : surface(held) {}
    ~Held() {
        if (surface) CFRelease(surface);
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
};
} // namespace

MacGLCompositor::MacGLCompositor() {
    const CGLPixelFormatAttribute attributes[] = {kCGLPFAAccelerated, CGLPixelFormatAttribute(0)};
    CGLPixelFormatObj format = nullptr;
    GLint count = 0;
    if (CGLChoosePixelFormat(attributes, &format, &count) != kCGLNoError || !format) return;
    if (CGLCreateContext(format, nullptr, &fContext) != kCGLNoError) fContext = nullptr;
    CGLReleasePixelFormat(format);
    if (!fContext) return;
    const Current current(fContext);
    glEnable(kRectangle);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_CLIENT_STORAGE_APPLE, GL_FALSE);
}

MacGLCompositor::~MacGLCompositor() {
    if (fContext) CGLDestroyContext(fContext);
}

void MacGLCompositor::copySurface(const Surface& source, Surface& target) {
    const Rect whole{0, 0, double(std::min(source.width(), target.width())),
                     double(std::min(source.height(), target.height()))};
    if (!CopyOnGPU(source, target, whole)) fCpu.copySurface(source, target);
}

void MacGLCompositor::copyArea(const Surface& source, Surface& target, const Rect& area) {
    if (!CopyOnGPU(source, target, area)) fCpu.copyArea(source, target, area);
}

void MacGLCompositor::drawImage(Surface& target, const Image& image, const Rect& where) {
    if (!DrawOnGPU(target, image, where)) fCpu.drawImage(target, image, where);
}

bool MacGLCompositor::CopyOnGPU(const Surface& source, Surface& target, const Rect& area) {
    if (!fContext) return false;
    const Held from(IOSurfaceOf(source)), to(IOSurfaceOf(target));
    if (!from.surface || !to.surface) return false;
    // Whole pixels that lie on both surfaces.
    const double left = std::max(0.0, std::floor(area.x)), top = std::max(0.0, std::floor(area.y));
    const double right = std::min({std::ceil(area.MaxX()), double(source.width()), double(target.width())});
    const double bottom = std::min({std::ceil(area.MaxY()), double(source.height()), double(target.height())});
    if (right <= left || bottom <= top) return true;
    const Rect copied{left, top, right - left, bottom - top};
    SurfacePairLock surfaces(source, target);
    std::lock_guard lock(fMutex);
    const Current current(fContext);
    Names names;
    if (!(names.targetTexture = TextureOver(fContext, to.surface, target)) ||
        !(names.sourceTexture = TextureOver(fContext, from.surface, source)) ||
        !DrawInto(names, names.targetTexture, target))
        return false;
    glDisable(GL_BLEND);
    glEnable(kRectangle);
    glBindTexture(kRectangle, names.sourceTexture);
    Quad(copied, copied);
    glFinish();
    return true;
}

bool MacGLCompositor::DrawOnGPU(Surface& target, const Image& image, const Rect& where) {
    if (!fContext) return false;
    const Held to(IOSurfaceOf(target));
    if (!to.surface) return false;
    if (where.width <= 0 || where.height <= 0 || image.width() == 0 || image.height() == 0) return true;
    SurfaceLock surface(target);
    std::lock_guard lock(fMutex);
    const Current current(fContext);
    Names names;
    if (!(names.targetTexture = TextureOver(fContext, to.surface, target)) ||
        !DrawInto(names, names.targetTexture, target))
        return false;
    glGenTextures(1, &names.sourceTexture);
    glEnable(kRectangle);
    glBindTexture(kRectangle, names.sourceTexture);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, GLint(image.bytesPerRow() / 4));
    glTexImage2D(kRectangle, 0, GL_RGBA8, GLsizei(image.width()), GLsizei(image.height()), 0, GL_BGRA,
                 GL_UNSIGNED_INT_8_8_8_8_REV, image.pixels());
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    SetSampling();
    const Rect picture{0, 0, double(image.width()), double(image.height())};
    if (image.alpha() == ImageAlpha::Premultiplied) {
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        Quad(picture, where);
    } else {
        // Replaces what is under it; a picture without alpha leaves its
        // fourth byte undefined, so the alpha is then set on its own.
        glDisable(GL_BLEND);
        Quad(picture, where);
        if (image.alpha() == ImageAlpha::Padding) {
            glDisable(kRectangle);
            glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_TRUE);
            glColor4f(0, 0, 0, 1);
            Quad(picture, where);
            glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
            glColor4f(1, 1, 1, 1); // textures are modulated by the colour: white again
        }
    }
    glFinish();
    return true;
}

} // namespace qcp::platform::mac
