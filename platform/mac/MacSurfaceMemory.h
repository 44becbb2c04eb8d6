#pragma once
#include <IOSurface/IOSurface.h>

#include <memory>

#include "Surface.h"

namespace qcp::platform::mac {

// A surface's memory that is an IOSurface: the surface goes by the
// IOSurface's id, so hosts find it with IOSurfaceLookup, and its lock takes
// the IOSurface's (IOSurfaceLock) as well, so that a host reading it waits
// for a writer here.
class MacSurfaceMemory final : public SurfaceMemory {
public:
    // A new IOSurface of those properties; null when the system refuses.
    static std::unique_ptr<MacSurfaceMemory> Create(const SurfaceProperties& properties);
    // An IOSurface made elsewhere, held while this lives. `inUse` also raises
    // its use count for as long (a display stream's frame, which the window
    // server would otherwise write again).
    MacSurfaceMemory(IOSurfaceRef surface, bool inUse);
    ~MacSurfaceMemory() override;
    MacSurfaceMemory(const MacSurfaceMemory&) = delete;
    MacSurfaceMemory& operator=(const MacSurfaceMemory&) = delete;

    uint8_t* data() override;
    size_t size() const override;
    std::optional<uint32_t> systemID() const override;
    void Lock() override;
    void Unlock() override;

    // The properties of an IOSurface made elsewhere, as a Surface takes them.
    static SurfaceProperties PropertiesOf(IOSurfaceRef surface);

private:
    const IOSurfaceRef fSurface;
    const bool fInUse;
};

} // namespace qcp::platform::mac
