// Display naming by index, id and screen record, and copying a picture into a
// surface.
#include <cstring>

#include "InventoryFixture.h"
#include "MacCaptureDisplayUtils.h"
#include "Platform.h"

using qcp::platform::Image;
using qcp::platform::SurfaceRef;

namespace {

// An opaque picture whose every byte differs from its neighbours', with
// `padding` unused bytes at the end of each row.
Image Picture(uint32_t width, uint32_t height, uint32_t padding, uint8_t seed) {
    const uint32_t bytesPerRow = width * 4 + padding;
    std::vector<uint8_t> pixels(size_t(bytesPerRow) * height, 0);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t* pixel = &pixels[size_t(y) * bytesPerRow + x * 4];
            for (int c = 0; c < 3; ++c) pixel[c] = uint8_t(seed + y * 31 + x * 7 + c);
            pixel[3] = 255;
        }
    return Image(width, height, bytesPerRow, std::move(pixels));
}

bool Holds(const qcp::platform::Surface& surface, const Image& image) {
    surface.Lock();
    bool same = true;
    for (uint32_t y = 0; y < image.height() && same; ++y)
        same = std::memcmp(surface.baseAddress() + size_t(y) * surface.bytesPerRow(), image.row(y),
                           size_t(image.width()) * 4) == 0;
    surface.Unlock();
    return same;
}

} // namespace

TEST_F(InventoryTest, IndexesAndIdsFollowTheCurrentScreenList) {
    EXPECT_EQ(MC::indexFromDisplayID(0), -1);
    EXPECT_EQ(MC::displayIDFromIndex(0), 0u);
    world().AddScreen({7, {0, 0, 1920, 1080}, 1.0, "Seven", 60});
    world().AddScreen({9, {1920, 0, 1280, 1024}, 1.0, std::nullopt, 60});

    EXPECT_EQ(MC::displayIDFromIndex(0), 7u);
    EXPECT_EQ(MC::displayIDFromIndex(1), 9u);
    EXPECT_EQ(MC::displayIDFromIndex(2), 0u);
    EXPECT_EQ(MC::displayIDFromIndex(-1), 0u);
    EXPECT_EQ(MC::indexFromDisplayID(9), 1);
    EXPECT_EQ(MC::indexFromDisplayID(0), -1);
    ASSERT_TRUE(MC::screenFromDisplayID(9));
    EXPECT_EQ(MC::screenFromDisplayID(9)->frame.width, 1280);
    EXPECT_EQ(MC::displayName(*MC::screenFromDisplayID(7)), "Seven");
    EXPECT_EQ(MC::displayName(*MC::screenFromDisplayID(9)), "Unknown");
    const MC::MacCaptureDisplay record(9, 1280, 1024, "Unknown");
    ASSERT_TRUE(record.getNSScreenForDisplay());
    EXPECT_EQ(record.getNSScreenForDisplay()->displayID, 9u);

    // Plugging and unplugging is seen by the next call.
    world().MoveScreenToIndex(9, 0);
    EXPECT_EQ(MC::indexFromDisplayID(9), 0);
    EXPECT_EQ(MC::displayIDFromIndex(1), 7u);
    world().RemoveScreen(9);
    EXPECT_FALSE(MC::screenFromDisplayID(9));
    EXPECT_FALSE(record.getNSScreenForDisplay());
    EXPECT_EQ(MC::indexFromDisplayID(9), -1);
    EXPECT_EQ(MC::indexFromDisplayID(7), 0);
}

TEST_F(InventoryTest, CopyMakesASurfaceShapedLikeThePicture) {
    const Image picture = Picture(5, 3, 12, 1);
    const SurfaceRef surface = MC::copyCGImageRefToIOSurface(picture, {});
    ASSERT_TRUE(surface);
    const qcp::platform::SurfaceProperties& properties = surface->properties();
    EXPECT_EQ(properties.width, 5u);
    EXPECT_EQ(properties.height, 3u);
    EXPECT_EQ(properties.bytesPerRow, 32u);
    EXPECT_EQ(properties.allocSize, 96u);
    EXPECT_EQ(properties.elementWidth, 1u);
    EXPECT_EQ(properties.bytesPerElement, 4u);
    EXPECT_EQ(properties.pixelFormat, 32u); // k32ARGBPixelFormat, B G R A in memory
    EXPECT_EQ(surface->RetainCount(), 1);
    EXPECT_TRUE(Holds(*surface, picture));
    // Global: any thread of the process finds it by id.
    EXPECT_EQ(SurfaceRef::Adopt(qcp::platform::Surface::Lookup(surface->id())).get(), surface.get());

    EXPECT_FALSE(MC::copyCGImageRefToIOSurface(Image(0, 3, 0, {}), {}));
}

TEST_F(InventoryTest, CopyReusesOnlyASurfaceOfTheSameShape) {
    const SurfaceRef first = MC::copyCGImageRefToIOSurface(Picture(5, 3, 12, 1), {});
    ASSERT_TRUE(first);

    const Image same = Picture(5, 3, 12, 90);
    const SurfaceRef reused = MC::copyCGImageRefToIOSurface(same, first);
    EXPECT_EQ(reused.get(), first.get());
    EXPECT_TRUE(Holds(*first, same));

    // Same width and height but a different row length, then a different
    // height: new surfaces, the passed one left as it was.
    for (const Image& other : {Picture(5, 3, 0, 40), Picture(5, 4, 12, 40)}) {
        const SurfaceRef made = MC::copyCGImageRefToIOSurface(other, first);
        ASSERT_TRUE(made);
        EXPECT_NE(made.get(), first.get());
        EXPECT_EQ(made->bytesPerRow(), other.bytesPerRow());
        EXPECT_TRUE(Holds(*made, other));
        EXPECT_TRUE(Holds(*first, same));
        EXPECT_EQ(first->RetainCount(), 2); // `first` and `reused`
    }
}
