#include "Host/Rendering/PlanarFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

using Lumivera::PlanarFrame;
using ::testing::ElementsAre;

namespace {

std::vector<int> planesOf(std::size_t width, std::size_t height,
                          const std::vector<std::uint32_t> &pixels) {
    PlanarFrame frame(width, height);
    frame.take(pixels);
    return {frame.bytes().begin(), frame.bytes().end()};
}

TEST(PlanarFrame, KnowsThePureColors) {
    const struct {
        std::uint32_t pixel;
        int luma, blueChroma, redChroma;
    } kColors[] = {
        {0xff000000, 16, 128, 128}, {0xffffffff, 235, 128, 128}, {0xffff0000, 63, 102, 240},
        {0xff00ff00, 173, 42, 26},  {0xff0000ff, 32, 240, 118},  {0xff808080, 126, 128, 128},
    };
    for (const auto &color : kColors) {
        EXPECT_THAT(planesOf(2, 2, std::vector<std::uint32_t>(4, color.pixel)),
                    ElementsAre(color.luma, color.luma, color.luma, color.luma, color.blueChroma,
                                color.redChroma))
            << std::hex << color.pixel;
    }
}

TEST(PlanarFrame, RepeatsTheLastPixelsOfOddSides) {
    const PlanarFrame frame(3, 1);
    EXPECT_EQ(frame.width(), 4u);
    EXPECT_EQ(frame.height(), 2u);
    EXPECT_THAT(planesOf(3, 1, {0xff000000, 0xff000000, 0xffff0000}),
                ElementsAre(16, 16, 63, 63, 16, 16, 63, 63, 128, 102, 128, 240));
    EXPECT_THAT(planesOf(1, 1, {0xffffffff}), ElementsAre(235, 235, 235, 235, 128, 128));
}

TEST(PlanarFrame, IsWithinALevelOfTheExactSums) {
    constexpr std::size_t kWidth = 34, kHeight = 6;
    std::mt19937 random(5);
    std::vector<std::uint32_t> pixels(kWidth * kHeight);
    for (std::uint32_t &pixel : pixels) {
        pixel = 0xff000000 | random();
    }
    const auto planes = planesOf(kWidth, kHeight, pixels);
    const auto part = [&](std::size_t x, std::size_t y, int shift) {
        return static_cast<double>(pixels[y * kWidth + x] >> shift & 0xff) / 255;
    };
    const auto lumaAt = [&](std::size_t x, std::size_t y) {
        return 0.2126 * part(x, y, 16) + 0.7152 * part(x, y, 8) + 0.0722 * part(x, y, 0);
    };
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        EXPECT_NEAR(planes[i], 16 + 219 * lumaAt(i % kWidth, i / kWidth), 0.51);
    }
    for (std::size_t i = 0; i < pixels.size() / 4; ++i) {
        const std::size_t x = i % (kWidth / 2) * 2, y = i / (kWidth / 2) * 2;
        double blue = 0, red = 0;
        for (const auto &[dx, dy] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
            blue += (part(x + dx, y + dy, 0) - lumaAt(x + dx, y + dy)) / 1.8556 / 4;
            red += (part(x + dx, y + dy, 16) - lumaAt(x + dx, y + dy)) / 1.5748 / 4;
        }
        EXPECT_NEAR(planes[pixels.size() + i], 128 + 224 * blue, 0.51);
        EXPECT_NEAR(planes[pixels.size() * 5 / 4 + i], 128 + 224 * red, 0.51);
    }
}

} // namespace
