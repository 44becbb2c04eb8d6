#include <gtest/gtest.h>

#include "FrameResampler.h"

#include <vector>

using qcp::platform::x11::FrameResampler;

namespace {
constexpr uint32_t kBlack = 0xFF000000;

// Source pixels numbered 0x00YYXX with the alpha byte left at 0, as a
// depth-24 screen hands them.
std::vector<uint32_t> NumberedSource(int width, int height) {
    std::vector<uint32_t> pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) pixels.push_back(uint32_t(y << 8 | x));
    return pixels;
}

std::vector<uint32_t> Resampled(const FrameResampler& resampler, const std::vector<uint32_t>& source, int sourceWidth,
                                uint32_t width, uint32_t height) {
    std::vector<uint32_t> out(size_t(width) * height, 0x12345678);
    resampler.Resample(reinterpret_cast<const uint8_t*>(source.data()), size_t(sourceWidth) * 4,
                       reinterpret_cast<uint8_t*>(out.data()), size_t(width) * 4);
    return out;
}
} // namespace

TEST(FrameResamplerTest, AnUnscaledWholeAreaIsAnIdentityAndScalingSamplesEachOutputPixelsCentre) {
    FrameResampler resampler;
    resampler.Configure({4, 3, 10, 20, 4, 3, 10, 20, 4, 3});
    EXPECT_TRUE(resampler.Identity());
    EXPECT_EQ(Resampled(resampler, NumberedSource(4, 3), 4, 4, 3)[4 * 2 + 3], 0xFF000203u);
    resampler.Configure({4, 3, 10, 20, 4, 3, 10, 20, 4, 2}); // the last row is off the screen
    EXPECT_FALSE(resampler.Identity());

    // Halved: centres at 1.0 and 3.0 in source pixels.
    resampler.Configure({2, 2, 0, 0, 4, 4, 0, 0, 4, 4});
    EXPECT_FALSE(resampler.Identity());
    EXPECT_EQ(Resampled(resampler, NumberedSource(4, 4), 4, 2, 2),
              (std::vector<uint32_t>{0xFF000101, 0xFF000103, 0xFF000301, 0xFF000303}));
    // Two source pixels from x = 1.5 shown on four: centres at 1.75, 2.25, 2.75, 3.25.
    resampler.Configure({4, 1, 1.5, 0, 2, 1, 0, 0, 4, 1});
    EXPECT_EQ(Resampled(resampler, NumberedSource(4, 1), 4, 4, 1),
              (std::vector<uint32_t>{0xFF000001, 0xFF000002, 0xFF000002, 0xFF000003}));
}

TEST(FrameResamplerTest, WhatLiesOffTheReadableAreaIsOpaqueBlack) {
    FrameResampler resampler;
    // A 4 x 3 part at (8, 8) of which only the 2 x 2 at (8, 8) can be read.
    resampler.Configure({4, 3, 8, 8, 4, 3, 8, 8, 2, 2});
    EXPECT_EQ(Resampled(resampler, NumberedSource(2, 2), 2, 4, 3),
              (std::vector<uint32_t>{0xFF000000, 0xFF000001, kBlack, kBlack, //
                                     0xFF000100, 0xFF000101, kBlack, kBlack, //
                                     kBlack, kBlack, kBlack, kBlack}));
    // Nothing readable at all: the source is not touched.
    resampler.Configure({3, 2, 5000, 5000, 30, 20, 5000, 5000, 0, 0});
    std::vector<uint32_t> out(6, 0);
    resampler.Resample(nullptr, 0, reinterpret_cast<uint8_t*>(out.data()), 12);
    EXPECT_EQ(out, std::vector<uint32_t>(6, kBlack));
}

TEST(FrameResamplerTest, MakeOpaqueSetsTheAlphaByteOnlyAndLeavesRowPaddingAlone) {
    // Rows of five pixels (a run of four and one more) and four bytes of padding.
    std::vector<uint8_t> pixels;
    for (int i = 0; i < 2 * 24; ++i) pixels.push_back(uint8_t(i));
    std::vector<uint8_t> expected = pixels;
    for (int row = 0; row < 2; ++row)
        for (int x = 0; x < 5; ++x) expected[size_t(row * 24 + x * 4 + 3)] = 255;
    FrameResampler::MakeOpaque(pixels.data(), 24, 5, 2);
    EXPECT_EQ(pixels, expected);
}
