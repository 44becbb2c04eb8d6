#include <gtest/gtest.h>

#include "X11Monitors.h"

#include <array>
#include <cstring>

#include "X11Cursor.h"

using namespace qcp::platform;
using namespace qcp::platform::x11;

namespace {
std::array<uint8_t, 128> EdidWithDescriptors(std::initializer_list<std::pair<uint8_t, const char*>> descriptors) {
    std::array<uint8_t, 128> edid{};
    const uint8_t header[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    std::memcpy(edid.data(), header, 8);
    size_t at = 54;
    for (const auto& [tag, text] : descriptors) {
        edid[at + 3] = tag;
        std::memset(edid.data() + at + 5, ' ', 13);
        std::memcpy(edid.data() + at + 5, text, std::strlen(text));
        at += 18;
    }
    return edid;
}
} // namespace

TEST(MonitorsTest, TheEdidProductNameIsTheMonitorNameDescriptorTrimmed) {
    // A serial number descriptor (0xFF) comes first and is not the name.
    const auto edid = EdidWithDescriptors({{0xFF, "SN12345\n"}, {0xFC, "Acme View 27\n"}});
    EXPECT_EQ(X11Monitors::EdidProductName(edid.data(), edid.size()), "Acme View 27");

    const auto padded = EdidWithDescriptors({{0xFC, "PANEL"}}); // space padded, no line feed
    EXPECT_EQ(X11Monitors::EdidProductName(padded.data(), padded.size()), "PANEL");
}

TEST(MonitorsTest, AnEdidWithoutANameOrNotAnEdidNamesNothing) {
    const auto unnamed = EdidWithDescriptors({{0xFF, "SN1\n"}, {0xFE, "text\n"}});
    EXPECT_EQ(X11Monitors::EdidProductName(unnamed.data(), unnamed.size()), std::nullopt);
    auto broken = EdidWithDescriptors({{0xFC, "Acme\n"}});
    EXPECT_EQ(X11Monitors::EdidProductName(broken.data(), 127), std::nullopt); // truncated
    broken[1] = 0x00;                                                          // header damaged
    EXPECT_EQ(X11Monitors::EdidProductName(broken.data(), broken.size()), std::nullopt);
    EXPECT_EQ(X11Monitors::EdidProductName(nullptr, 0), std::nullopt);
}

TEST(MonitorsTest, RefreshRateComesFromTheModeTimings) {
    XRRModeInfo mode{};
    mode.dotClock = 148'500'000;
    mode.hTotal = 2200;
    mode.vTotal = 1125;
    EXPECT_DOUBLE_EQ(X11Monitors::RefreshRate(mode), 60.0);
    mode.modeFlags = RR_Interlace;
    EXPECT_DOUBLE_EQ(X11Monitors::RefreshRate(mode), 120.0);
    mode.modeFlags = RR_DoubleScan;
    EXPECT_DOUBLE_EQ(X11Monitors::RefreshRate(mode), 30.0);
    mode.hTotal = 0; // a virtual output's mode says nothing
    EXPECT_EQ(X11Monitors::RefreshRate(mode), 0.0);
}

TEST(MonitorsTest, FramesAreMeasuredFromTheMainMonitorsBottomLeftWithYUp) {
    const X11Monitor main{1, None, None, 1000, 200, 1920, 1080, true};
    const X11Monitor above{2, None, None, 0, 0, 1280, 200, false};
    const X11Monitor below{3, None, None, 1000, 1280, 800, 600, false};
    EXPECT_EQ(X11Monitors::GlobalFrame(main, main), (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(X11Monitors::GlobalFrame(above, main), (Rect{-1000, 1080, 1280, 200}));
    EXPECT_EQ(X11Monitors::GlobalFrame(below, main), (Rect{0, -600, 800, 600}));
}

TEST(MonitorsTest, CursorPixelsBecomeBgraBytesWhateverTheUpperBitsOfEachLong) {
    // XFixes hands premultiplied ARGB, one pixel per unsigned long.
    const unsigned long pixels[2] = {0x80402010ul, static_cast<unsigned long>(0xDEAD0000FF00FF00ull)};
    const ImageRef image = X11Cursor::ConvertPixels(pixels, 2, 1);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bytesPerRow(), 8u);
    EXPECT_EQ(std::vector<uint8_t>(image->pixels(), image->pixels() + 8),
              (std::vector<uint8_t>{0x10, 0x20, 0x40, 0x80, 0x00, 0xFF, 0x00, 0xFF}));
    EXPECT_EQ(X11Cursor::ConvertPixels(pixels, 0, 1), nullptr);
}
