#pragma once
#include <memory>

#include "Surface.h"

namespace qcp::platform::x11 {

// Surface memory in a System V shared-memory segment, so that the X server
// can write frames straight into it (MIT-SHM) and other processes could map
// it. The segment is marked for removal as soon as it is mapped: it goes
// away with its last user, even if the process dies. Linux lets the X server
// attach such a segment by its id while this mapping lives.
class ShmSurfaceMemory final : public SurfaceMemory {
public:
    // Zero-filled; null when the system gives no segment of that size.
    static std::unique_ptr<ShmSurfaceMemory> Create(size_t size);
    ~ShmSurfaceMemory() override;
    ShmSurfaceMemory(const ShmSurfaceMemory&) = delete;
    ShmSurfaceMemory& operator=(const ShmSurfaceMemory&) = delete;

    uint8_t* data() override { return fAddress; }
    size_t size() const override { return fSize; }
    int shmid() const { return fShmid; }

private:
    ShmSurfaceMemory(int shmid, uint8_t* address, size_t size) : fShmid(shmid), fAddress(address), fSize(size) {}

    const int fShmid;
    uint8_t* const fAddress;
    const size_t fSize;
};

// A new surface whose memory is shared (a heap surface when shared memory
// cannot be had), retained for the caller; null as Surface::Create.
Surface* CreateShmSurface(const SurfaceProperties& properties);

} // namespace qcp::platform::x11
