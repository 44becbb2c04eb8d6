#include "X11SurfacePool.h"

#include <algorithm>

#include "ShmSurfaceMemory.h"

namespace qcp::platform::x11 {

X11SurfacePool::X11SurfacePool(const X11Connection& connection, const SurfaceProperties& properties, bool shm,
                               std::optional<X11OpaqueCopy::Format> format, size_t limit)
    : fConnection(connection), fProperties(properties), fShm(shm), fFormat(format), fLimit(limit) {
    fEntries.reserve(limit);
}

X11SurfacePool::Entry* X11SurfacePool::Free() {
    for (Entry& entry : fEntries)
        if (entry.surface->RetainCount() == 1) return &entry;
    if (fEntries.size() == fLimit) return nullptr;
    Entry entry;
    std::unique_ptr<ShmSurfaceMemory> memory = fShm ? ShmSurfaceMemory::Create(fProperties.allocSize) : nullptr;
    if (memory)
        entry.image = X11ShmImage::Attach(fConnection, memory->shmid(), memory->data(), fProperties.width,
                                          fProperties.height, fFormat ? fFormat->visual : nullptr,
                                          fFormat ? fFormat->depth : 0);
    entry.surface =
        SurfaceRef::Adopt(memory ? Surface::Create(fProperties, std::move(memory)) : Surface::Create(fProperties));
    if (!entry.surface) return nullptr;
    fEntries.push_back(std::move(entry));
    return &fEntries.back();
}

X11SurfacePool::Entry* X11SurfacePool::Find(const Surface& surface) {
    const auto found =
        std::find_if(fEntries.begin(), fEntries.end(), [&](const Entry& e) { return e.surface.get() == &surface; });
    return found == fEntries.end() ? nullptr : &*found;
}

} // namespace qcp::platform::x11
