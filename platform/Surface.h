#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "zRefCount.h"

namespace qcp::platform {

// 'BGRA': 32-bit pixels, B G R A in memory, premultiplied alpha.
constexpr uint32_t kPixelFormatBGRA = 0x42475241;

// The bytes behind a surface. Platforms may provide shared memory.
class SurfaceMemory {
public:
    virtual ~SurfaceMemory() = default;
    virtual uint8_t* data() = 0;
    virtual size_t size() const = 0;
};

struct SurfaceProperties {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bytesPerRow = 0;
    uint32_t bytesPerElement = 4;
    uint32_t elementWidth = 1;
    uint32_t elementHeight = 1;
    uint32_t pixelFormat = kPixelFormatBGRA;
    size_t allocSize = 0; // at least bytesPerRow * height
    bool isGlobal = true; // reachable by id from anywhere in the process
};

// A shareable frame buffer with a process-wide 32-bit id. Reference counted:
// it starts with one reference owned by its creator. Ids are never reused.
class Surface final : public zRefCount {
public:
    // Null when the properties are inconsistent or memory cannot be had.
    static Surface* Create(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory = nullptr);
    // The live surface with that id, retained for the caller; null if none.
    static Surface* Lookup(uint32_t id);

    const SurfaceProperties& properties() const { return fProperties; }
    uint32_t width() const { return fProperties.width; }
    uint32_t height() const { return fProperties.height; }
    uint32_t bytesPerRow() const { return fProperties.bytesPerRow; }
    size_t allocSize() const { return fProperties.allocSize; }
    uint32_t id() const { return fID; }
    // The id's address: valid while the surface lives.
    const uint32_t* idAddress() const { return &fID; }

    // Writers and readers of the pixels hold the lock.
    void Lock() const { fLock.lock(); }
    void Unlock() const { fLock.unlock(); }
    uint8_t* baseAddress() const { return fMemory->data(); }

private:
    Surface(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory, uint32_t id);
    ~Surface() override;

    SurfaceProperties fProperties;
    std::unique_ptr<SurfaceMemory> fMemory;
    uint32_t fID;
    mutable std::mutex fLock;
};

// An owning reference to a surface.
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

} // namespace qcp::platform
