#include "Surface.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace qcp::platform;

TEST(Surface, LookupFindsALiveSurfaceByIdAndRetainsIt) {
    SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(8, 4)));
    ASSERT_TRUE(surface);
    const uint32_t id = surface->id();
    SurfaceRef found = SurfaceRef::Adopt(Surface::Lookup(id));
    EXPECT_EQ(found.get(), surface.get());
    surface.reset();
    EXPECT_EQ(SurfaceRef::Adopt(Surface::Lookup(id)).get(), found.get()); // kept alive by the look-up
    found.reset();
    EXPECT_EQ(Surface::Lookup(id), nullptr);
    EXPECT_EQ(Surface::Lookup(0), nullptr);
    EXPECT_NE(SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(8, 4)))->id(), id); // never reused
}

namespace {
// Memory the system names (as an IOSurface is), counting its locks.
class NamedMemory final : public SurfaceMemory {
public:
    NamedMemory(uint32_t id, int& locked) : fID(id), fLocked(locked) {}
    uint8_t* data() override { return fBytes.data(); }
    size_t size() const override { return fBytes.size(); }
    std::optional<uint32_t> systemID() const override { return fID; }
    void Lock() override { ++fLocked; }
    void Unlock() override { --fLocked; }

private:
    std::vector<uint8_t> fBytes = std::vector<uint8_t>(8 * 4 * 4);
    const uint32_t fID;
    int& fLocked;
};
} // namespace

TEST(Surface, MemoryTheSystemNamesGivesItsIdAndIsLockedWithTheSurface) {
    int locked = 0;
    constexpr uint32_t kSystemID = 0x7F000001;
    SurfaceRef surface = SurfaceRef::Adopt(
        Surface::Create(SurfaceProperties::Packed(8, 4), std::make_unique<NamedMemory>(kSystemID, locked)));
    ASSERT_TRUE(surface);
    EXPECT_EQ(surface->id(), kSystemID);
    EXPECT_EQ(SurfaceRef::Adopt(Surface::Lookup(kSystemID)).get(), surface.get());
    {
        SurfaceLock lock(*surface);
        EXPECT_EQ(locked, 1);
    }
    EXPECT_EQ(locked, 0);
    int other = 0;
    EXPECT_FALSE(Surface::Create(SurfaceProperties::Packed(8, 4), std::make_unique<NamedMemory>(kSystemID, other)))
        << "one live surface per system id";
    surface.reset();
    EXPECT_EQ(Surface::Lookup(kSystemID), nullptr);
}
