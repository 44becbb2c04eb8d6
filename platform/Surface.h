#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "zRefCount.h"

namespace qcp::platform {

// Pixel-format tags a surface carries, as the macOS four-character codes.
// Every surface and image of this system holds 32-bit pixels with
// premultiplied alpha stored B, G, R, A in memory; the tag only records which
// code its maker asked for, because code that reuses surfaces compares it.
// 'BGRA': what display streams deliver.
constexpr uint32_t kPixelFormatBGRA = 0x42475241;
// 32 (k32ARGBPixelFormat): what surfaces made from images carry.
constexpr uint32_t kPixelFormat32ARGB = 32;

// The bytes behind a surface. The default is plain process memory; a
// platform that shares frames with other processes (or with the X server)
// passes shared memory of its own to Surface::Create. Memory that the system
// itself knows as a frame buffer (an IOSurface) names the id the system gave
// it, which the surface then goes by, and is locked with the surface, so that
// another process reading it through the system waits for a writer here.
class SurfaceMemory {
public:
    virtual ~SurfaceMemory() = default;
    virtual uint8_t* data() = 0;
    virtual size_t size() const = 0;
    // The system's id of this memory (IOSurfaceGetID); none for memory the
    // system does not name, whose surface gets an id of the registry's own.
    virtual std::optional<uint32_t> systemID() const { return std::nullopt; }
    // Called with the surface's lock taken and before it is let go.
    virtual void Lock() {}
    virtual void Unlock() {}
};

// The IOSurface creation properties that this system uses.
struct SurfaceProperties {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bytesPerRow = 0;
    uint32_t bytesPerElement = 4;
    uint32_t elementWidth = 1;
    uint32_t elementHeight = 1;
    uint32_t pixelFormat = kPixelFormatBGRA;
    size_t allocSize = 0; // at least bytesPerRow * height

    // Tightly packed rows of 4-byte pixels.
    static SurfaceProperties Packed(uint32_t width, uint32_t height, uint32_t pixelFormat = kPixelFormatBGRA) {
        SurfaceProperties properties;
        properties.width = width;
        properties.height = height;
        properties.bytesPerRow = width * 4;
        properties.pixelFormat = pixelFormat;
        properties.allocSize = size_t(properties.bytesPerRow) * height;
        return properties;
    }
};

// A frame buffer shared by id (what IOSurface is on macOS). Every surface has
// a process-wide 32-bit id, never reused in the life of the process, by which
// any thread can look it up while the surface lives; hosts read frames that
// way. Reference counted: it starts with one reference owned by its creator
// and is freed, on whichever thread drops the last reference, when the last
// one goes. Geometry never changes after creation.
//
// Pixels are read and written only between Lock() and Unlock(); the lock is
// the only synchronisation between a surface's writer and its readers. It is
// not re-entrant, and a thread holds at most one surface lock at a time
// unless it takes them in the order source, then target (as the compositor
// does).
class Surface final : public zRefCount {
public:
    // A new surface, retained for the caller, with its pixels all zero unless
    // `memory` brings content of its own. Null when the properties are
    // inconsistent (zero width or height, rows shorter than width *
    // bytesPerElement, allocSize below bytesPerRow * height), when memory
    // cannot be had, or when the memory's system id is already a live
    // surface's. Any thread.
    static Surface* Create(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory = nullptr);
    // The live surface with that id, retained for the caller (IOSurfaceLookup);
    // null when no surface has that id or it is being destroyed. Any thread.
    static Surface* Lookup(uint32_t id);

    const SurfaceProperties& properties() const { return fProperties; }
    uint32_t width() const { return fProperties.width; }
    uint32_t height() const { return fProperties.height; }
    uint32_t bytesPerRow() const { return fProperties.bytesPerRow; }
    size_t allocSize() const { return fProperties.allocSize; }
    uint32_t pixelFormat() const { return fProperties.pixelFormat; }
    uint32_t id() const { return fID; }
    // The id's address: valid while the surface lives.
    const uint32_t* idAddress() const { return &fID; }

    void Lock() const {
        fLock.lock();
        fMemory->Lock();
    }
    void Unlock() const {
        fMemory->Unlock();
        fLock.unlock();
    }
    // The first byte of the top row; valid while the surface lives, used
    // only under the lock.
    uint8_t* baseAddress() const { return fMemory->data(); }

private:
    Surface(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory, uint32_t id);
    ~Surface() override;

    SurfaceProperties fProperties;
    std::unique_ptr<SurfaceMemory> fMemory;
    uint32_t fID;
    mutable std::mutex fLock;
};

// An owning reference to a surface (what a retained IOSurfaceRef is).
class SurfaceRef {
public:
    SurfaceRef() = default;
    // Takes over a reference the caller holds (from Create or Lookup).
    static SurfaceRef Adopt(Surface* surface) { return SurfaceRef(surface); }
    // Adds a reference of its own.
    static SurfaceRef Retain(Surface* surface) {
        if (surface) surface->Retain();
        return SurfaceRef(surface);
    }
    SurfaceRef(const SurfaceRef& other) : fSurface(other.fSurface) {
        if (fSurface) fSurface->Retain();
    }
    SurfaceRef(SurfaceRef&& other) noexcept : fSurface(std::exchange(other.fSurface, nullptr)) {}
    SurfaceRef& operator=(SurfaceRef other) noexcept {
        std::swap(fSurface, other.fSurface);
        return *this;
    }
    ~SurfaceRef() {
        if (fSurface) fSurface->Release();
    }

    Surface* get() const { return fSurface; }
    Surface* operator->() const { return fSurface; }
    Surface& operator*() const { return *fSurface; }
    explicit operator bool() const { return fSurface != nullptr; }
    void reset() { *this = SurfaceRef(); }

private:
    explicit SurfaceRef(Surface* surface) : fSurface(surface) {}
    Surface* fSurface = nullptr;
};

// Holds a surface's lock for a scope.
class SurfaceLock {
public:
    explicit SurfaceLock(const Surface& surface) : fSurface(surface) { fSurface.Lock(); }
    ~SurfaceLock() { fSurface.Unlock(); }
    SurfaceLock(const SurfaceLock&) = delete;
    SurfaceLock& operator=(const SurfaceLock&) = delete;

private:
    const Surface& fSurface;
};

// Holds two distinct surfaces' locks for a scope, taken in the order of their
// addresses: pixels go both ways between the same two surfaces (pooled
// frames take turns as the newer, a frame and what its cursor covers), and
// an order by role would cross.
class SurfacePairLock {
public:
    SurfacePairLock(const Surface& a, const Surface& b)
        : fFirst(std::less<const Surface*>()(&a, &b) ? a : b), fSecond(std::less<const Surface*>()(&a, &b) ? b : a) {}

private:
    SurfaceLock fFirst;
    SurfaceLock fSecond;
};

} // namespace qcp::platform
