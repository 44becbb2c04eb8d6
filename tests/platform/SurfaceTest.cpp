#include "Surface.h"

#include <gtest/gtest.h>

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
