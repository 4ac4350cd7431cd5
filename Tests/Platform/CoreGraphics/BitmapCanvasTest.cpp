#include "Platform/CoreGraphics/BitmapCanvas.h"

#include "Platform/CoreGraphics/PixelBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Pixels = PixelBuffer;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr CGBlendMode kModes[] = {CGBlendMode::Normal, CGBlendMode::Multiply, CGBlendMode::Overlay};

/// Draws a picture into the top left corner of a canvas of that size.
std::shared_ptr<const PlacedPicture> placed(std::size_t width, std::size_t height, Pixels pixels,
                                            std::size_t canvasWidth, std::size_t canvasHeight) {
    const auto image = CGImage::imageWithPixels(width, height, std::move(pixels));
    return std::make_shared<const PlacedPicture>(*image, CGAffineTransform{}, canvasWidth,
                                                 canvasHeight);
}

void paintPixel(BitmapCanvas &canvas, CGBlendMode mode, std::uint32_t pixel) {
    canvas.paint({mode, nullptr, placed(1, 1, {pixel}, 1, 1)});
}

std::uint32_t blended(CGBlendMode mode, std::uint32_t backdrop, std::uint32_t source) {
    BitmapCanvas canvas(1, 1, false);
    paintPixel(canvas, CGBlendMode::Normal, backdrop);
    paintPixel(canvas, mode, source);
    return canvas.pixels()[0];
}

std::uint32_t randomPixel(std::mt19937 &random) {
    const std::uint32_t red = random() % 256, green = random() % 256, blue = random() % 256;
    return premultipliedPixel(red, green, blue, random() % 256);
}

CanvasStroke fill(const CGColor &color, std::size_t left, std::size_t top, std::size_t right,
                  std::size_t bottom) {
    CanvasStroke stroke;
    stroke.color = color;
    stroke.left = left;
    stroke.top = top;
    stroke.right = right;
    stroke.bottom = bottom;
    return stroke;
}

} // namespace

TEST(Canvas, BeginsClearOrBlack) {
    EXPECT_THAT(BitmapCanvas(5, 2, false).pixels(), Each(0u));
    EXPECT_THAT(BitmapCanvas(5, 2, true).pixels(), Each(0xff000000));
    EXPECT_THAT(BitmapCanvas(5, 2, true).greyPixels(), Each(0xff000000));
}

TEST(Canvas, KeepsEveryValueOfEightBits) {
    for (std::uint32_t value = 0; value < 256; ++value) {
        const std::uint32_t pixel = value << 24 | value << 16 | value / 2 << 8 | value / 3;
        EXPECT_EQ(blended(CGBlendMode::Normal, 0, pixel), pixel);
    }
}

TEST(Canvas, LeavesItsPixelUnderAClearOne) {
    std::mt19937 random(3);
    for (int i = 0; i < 1000; ++i) {
        const std::uint32_t pixel = randomPixel(random);
        for (const CGBlendMode mode : kModes) {
            EXPECT_EQ(blended(mode, pixel, 0), pixel);
            EXPECT_EQ(blended(mode, 0, pixel), pixel);
        }
    }
}

TEST(Canvas, NeverHasAColorAboveItsAlpha) {
    std::mt19937 random(4);
    for (int i = 0; i < 20000; ++i) {
        const std::uint32_t backdrop = randomPixel(random), source = randomPixel(random);
        for (const CGBlendMode mode : kModes) {
            const std::uint32_t result = blended(mode, backdrop, source);
            const std::uint32_t alpha = result >> 24;
            EXPECT_LE(result >> 16 & 0xff, alpha);
            EXPECT_LE(result >> 8 & 0xff, alpha);
            EXPECT_LE(result & 0xff, alpha);
        }
    }
}

TEST(Canvas, FadesByItsClip) {
    BitmapCanvas canvas(3, 1, false);
    CanvasStroke stroke = fill({1, 1, 1, 1}, 0, 0, 3, 1);
    stroke.clip = std::make_shared<const ClipCoverage>(ClipCoverage{0, 51, 255});
    canvas.paint(stroke);
    EXPECT_THAT(canvas.pixels(), ElementsAre(0u, 0x33333333u, 0xffffffffu));
}

TEST(Canvas, FadesPicturesByTheirPartOfTheClip) {
    BitmapCanvas canvas(2, 2, false);
    const auto clip = std::make_shared<const ClipCoverage>(ClipCoverage{51, 255, 0, 255});
    canvas.paint({CGBlendMode::Normal, clip, placed(1, 2, {0xffffffff, 0xffffffff}, 2, 2)});
    EXPECT_THAT(canvas.pixels(), ElementsAre(0x33333333u, 0u, 0u, 0u));
}

TEST(Canvas, FillsTheRectangleAndNothingElse) {
    BitmapCanvas canvas(3, 3, false);
    canvas.paint(fill({0, 0, 1, 1}, 1, 1, 2, 2));
    EXPECT_THAT(canvas.pixels(), ElementsAre(0u, 0u, 0u, 0u, 0xff0000ffu, 0u, 0u, 0u, 0u));
}

TEST(Canvas, ClampsColors) {
    BitmapCanvas canvas(1, 1, false);
    canvas.paint(fill({9, -9, 0.5, 2}, 0, 0, 1, 1));
    EXPECT_EQ(canvas.pixels()[0], 0xffff0080);
}

TEST(Canvas, RoundsOnlyAtTheEndHoweverManyStrokes) {
    // With 8 bits between the steps, the rounding errors would add up.
    BitmapCanvas canvas(1, 1, false);
    paintPixel(canvas, CGBlendMode::Normal, 0xffffffff);
    double expected = 255;
    for (int i = 0; i < 100; ++i) {
        paintPixel(canvas, CGBlendMode::Multiply, 0xfffdfdfd);
        expected *= 253.0 / 255;
        EXPECT_NEAR(static_cast<double>(canvas.pixels()[0] & 0xff), expected, 0.6) << i;
    }
}

TEST(Canvas, ForgetsWhatAnOpaquePictureHides) {
    std::mt19937 random(5);
    const std::size_t width = 7, height = 3;
    Pixels opaque(width * height);
    std::generate(opaque.begin(), opaque.end(), [&] { return randomPixel(random) | 0xff000000; });
    BitmapCanvas canvas(width, height, true);
    for (int i = 0; i < 20; ++i) {
        canvas.paint(fill({1, 0, 0, 0.5}, 0, 0, width, height));
    }
    const auto picture = placed(width, height, opaque, width, height);
    canvas.paint({CGBlendMode::Normal, nullptr, picture});
    EXPECT_EQ(canvas.pixels(), opaque);
    canvas.paint(fill({0, 1, 0, 1}, 0, 0, 1, 1));
    opaque[0] = 0xff00ff00;
    EXPECT_EQ(canvas.pixels(), opaque);
}

TEST(Canvas, KeepsAPictureAliveAsLongAsItNeedsIt) {
    BitmapCanvas canvas(1, 1, false);
    auto image = CGImage::imageWithPixels(1, 1, {0xff123456});
    canvas.paint({CGBlendMode::Normal, nullptr,
                  std::make_shared<const PlacedPicture>(*image, CGAffineTransform{}, 1, 1)});
    image = nullptr;
    EXPECT_EQ(canvas.pixels()[0], 0xff123456);
}

TEST(Canvas, GivesGreysOverBlack) {
    BitmapCanvas canvas(3, 1, true);
    canvas.paint(
        {CGBlendMode::Normal, nullptr, placed(3, 1, {0xffff0000, 0x80008000, 0xff7b7b7b}, 3, 1)});
    EXPECT_THAT(canvas.greyPixels(), ElementsAre(0xff363636, 0xff5c5c5c, 0xff7b7b7b));
}
