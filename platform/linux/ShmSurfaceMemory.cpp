#include "ShmSurfaceMemory.h"

#include <sys/ipc.h>
#include <sys/shm.h>

namespace qcp::platform::x11 {

std::unique_ptr<ShmSurfaceMemory> ShmSurfaceMemory::Create(size_t size) {
    if (size == 0) return nullptr;
    const int shmid = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (shmid < 0) return nullptr;
    void* address = shmat(shmid, nullptr, 0);
    shmctl(shmid, IPC_RMID, nullptr);
    if (address == reinterpret_cast<void*>(-1)) return nullptr;
    return std::unique_ptr<ShmSurfaceMemory>(new ShmSurfaceMemory(shmid, static_cast<uint8_t*>(address), size));
}

ShmSurfaceMemory::~ShmSurfaceMemory() { shmdt(fAddress); }

Surface* CreateShmSurface(const SurfaceProperties& properties) {
    std::unique_ptr<ShmSurfaceMemory> memory = ShmSurfaceMemory::Create(properties.allocSize);
    if (!memory) return Surface::Create(properties);
    return Surface::Create(properties, std::move(memory));
}

} // namespace qcp::platform::x11
