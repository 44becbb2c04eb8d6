#include "SimStamp.h"

#include <gtest/gtest.h>

#include <vector>

using namespace qcp::platform;
using namespace qcp::platform::sim;

namespace {
SurfaceRef MakeSurface(uint32_t width, uint32_t height) {
    return SurfaceRef::Adopt(Surface::Create(SurfaceProperties::Packed(width, height)));
}
} // namespace

TEST(SimStamp, ReadsBackEveryBitOfIdentityAndCounter) {
    std::vector<uint8_t> pixels(64 * 8 * 4, 0);
    for (const Stamp stamp : {Stamp{1, 0}, Stamp{0xFFFFFFFF, 0x80000001}, Stamp{0x12345678, 0x9ABCDEF0}}) {
        WriteStamp(pixels.data(), 64 * 4, 3, 2, stamp);
        EXPECT_EQ(ReadStamp(pixels.data(), 64 * 4, 64, 8, 3, 2), stamp);
    }
    // Not at its corner, and not where there is no room for a whole stamp.
    EXPECT_FALSE(ReadStamp(pixels.data(), 64 * 4, 64, 8, 0, 0));
    EXPECT_FALSE(ReadStamp(pixels.data(), 64 * 4, 3 + kStampWidth - 1, 8, 3, 2));
}

TEST(SimStamp, RejectsADamagedStamp) {
    std::vector<uint8_t> pixels(kStampWidth * kStampHeight * 4, 0);
    WriteStamp(pixels.data(), kStampWidth * 4, 0, 0, {7, 9});
    // One bit of the identity cell's centre flipped: the check cell no
    // longer agrees.
    const int centre = kStampCellPixels / 2;
    pixels[size_t(centre) * kStampWidth * 4 + size_t(kStampCellPixels + centre) * 4] ^= 1;
    EXPECT_FALSE(ReadStamp(pixels.data(), kStampWidth * 4, kStampWidth, kStampHeight, 0, 0));
}

TEST(SimStamp, FindsAStampByIdentityAnywhereInASurface) {
    SurfaceRef surface = MakeSurface(100, 40);
    {
        SurfaceLock lock(*surface);
        WriteStamp(surface->baseAddress(), surface->bytesPerRow(), 0, 0, {5, 1});
        WriteStamp(surface->baseAddress(), surface->bytesPerRow(), 37, 21, {6, 2});
    }
    const auto found = FindStamp(*surface, 6);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->x, 37);
    EXPECT_EQ(found->y, 21);
    EXPECT_EQ(found->stamp, (Stamp{6, 2}));
    EXPECT_EQ(ReadStamp(*surface), (Stamp{5, 1}));
    EXPECT_FALSE(FindStamp(*surface, 7));
}
