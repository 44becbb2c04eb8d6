#include "Surface.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace qcp::platform;

namespace {
SurfaceProperties Geometry(uint32_t width, uint32_t height) { return SurfaceProperties::Packed(width, height); }
} // namespace

TEST(Surface, LookupFindsALiveSurfaceAndRetainsIt) {
    SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(Geometry(8, 4)));
    ASSERT_TRUE(surface);
    SurfaceRef found = SurfaceRef::Adopt(Surface::Lookup(surface->id()));
    EXPECT_EQ(found.get(), surface.get());
    const uint32_t id = surface->id();
    surface.reset();
    // The look-up's own reference keeps it alive and findable.
    SurfaceRef again = SurfaceRef::Adopt(Surface::Lookup(id));
    EXPECT_EQ(again.get(), found.get());
}

TEST(Surface, LookupOfAReleasedSurfaceFindsNothingAndIdsAreNotReused) {
    const uint32_t id = SurfaceRef::Adopt(Surface::Create(Geometry(2, 2)))->id();
    EXPECT_EQ(Surface::Lookup(id), nullptr);
    EXPECT_EQ(Surface::Lookup(0), nullptr);
    SurfaceRef next = SurfaceRef::Adopt(Surface::Create(Geometry(2, 2)));
    EXPECT_NE(next->id(), id);
}

TEST(Surface, RefusesInconsistentGeometry) {
    EXPECT_EQ(Surface::Create(Geometry(0, 4)), nullptr);
    EXPECT_EQ(Surface::Create(Geometry(4, 0)), nullptr);
    SurfaceProperties shortRows = Geometry(8, 4);
    shortRows.bytesPerRow = 31;
    EXPECT_EQ(Surface::Create(shortRows), nullptr);
    SurfaceProperties smallAllocation = Geometry(8, 4);
    smallAllocation.allocSize -= 1;
    EXPECT_EQ(Surface::Create(smallAllocation), nullptr);
}

TEST(Surface, StartsWithEveryPixelZero) {
    SurfaceProperties padded = Geometry(3, 3);
    padded.bytesPerRow = 16;
    padded.allocSize = 64;
    SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(padded));
    ASSERT_TRUE(surface);
    SurfaceLock lock(*surface);
    for (size_t i = 0; i < surface->allocSize(); ++i) ASSERT_EQ(surface->baseAddress()[i], 0) << i;
}

TEST(Surface, ConcurrentLookupsAndReleasesNeverHandOutADyingSurface) {
    // Readers look ids up while the owner drops each surface: a look-up
    // either retains a live surface or finds nothing.
    constexpr int kRounds = 2000;
    std::atomic<uint32_t> current{0};
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            if (SurfaceRef found = SurfaceRef::Adopt(Surface::Lookup(current.load()))) {
                SurfaceLock lock(*found);
                found->baseAddress()[0] = 1;
            }
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        SurfaceRef surface = SurfaceRef::Adopt(Surface::Create(Geometry(4, 4)));
        current = surface->id();
    }
    done = true;
    reader.join();
}
