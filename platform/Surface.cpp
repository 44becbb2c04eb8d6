#include "Surface.h"

#include <atomic>
#include <new>
#include <unordered_map>
#include <vector>

namespace qcp::platform {
namespace {

class HeapMemory final : public SurfaceMemory {
public:
    explicit HeapMemory(size_t size) : fBytes(size) {}
    uint8_t* data() override { return fBytes.data(); }
    size_t size() const override { return fBytes.size(); }

private:
    std::vector<uint8_t> fBytes;
};

struct Registry {
    std::mutex mutex;
    std::unordered_map<uint32_t, Surface*> byID;
    std::atomic<uint32_t> nextID{1};
};

Registry& TheRegistry() {
    static Registry* registry = new Registry(); // outlives every surface, even at exit
    return *registry;
}

} // namespace

Surface* Surface::Create(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory) {
    const size_t needed = size_t(properties.bytesPerRow) * properties.height;
    if (properties.width == 0 || properties.height == 0 ||
        properties.bytesPerRow < size_t(properties.width) * properties.bytesPerElement || properties.allocSize < needed)
        return nullptr;
    try {
        if (!memory) memory = std::make_unique<HeapMemory>(properties.allocSize);
        if (memory->size() < properties.allocSize) return nullptr;
        Registry& registry = TheRegistry();
        const std::optional<uint32_t> systemID = memory->systemID();
        const uint32_t id = systemID ? *systemID : registry.nextID++;
        std::lock_guard lock(registry.mutex);
        if (registry.byID.contains(id)) return nullptr; // one surface per system id
        auto* surface = new Surface(properties, std::move(memory), id);
        registry.byID.emplace(id, surface);
        return surface;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Surface* Surface::Lookup(uint32_t id) {
    Registry& registry = TheRegistry();
    std::lock_guard lock(registry.mutex);
    auto found = registry.byID.find(id);
    if (found == registry.byID.end() || !found->second->TryRetain()) return nullptr;
    return found->second;
}

Surface::Surface(const SurfaceProperties& properties, std::unique_ptr<SurfaceMemory> memory, uint32_t id)
    : fProperties(properties), fMemory(std::move(memory)), fID(id) {}

Surface::~Surface() {
    Registry& registry = TheRegistry();
    std::lock_guard lock(registry.mutex);
    registry.byID.erase(fID);
}

} // namespace qcp::platform
