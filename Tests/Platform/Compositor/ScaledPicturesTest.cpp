#include "Platform/Compositor/ScaledPictures.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gmock/gmock.h>

#include <random>

namespace {

Retained<CGImage> noise(int width, int height, std::uint32_t alpha, std::mt19937 &random) {
    return makeImage(static_cast<NSUInteger>(width), static_cast<NSUInteger>(height),
                     [&](NSUInteger, NSUInteger) { return alpha | (random() & 0x3F3F3F); });
}

} // namespace

TEST(ScaledPictures, HaveTheTexelsOfAPictureOfTheSameSize) {
    std::mt19937 random(1);
    const DeviceRect area{21, 3, 70, 12};
    const auto image = noise(area.width(), area.height(), 0xFF000000, random);
    ScaledPictures pictures;
    const Picture picture = pictures.scaled(*image, {21, 1}, {3, 1}, area);
    ASSERT_EQ(picture.width, area.width());
    ASSERT_EQ(picture.height, area.height());
    EXPECT_TRUE(std::equal(picture.pixels, picture.pixels + area.area(), image->pixels()));
}

TEST(ScaledPictures, AreOpaqueWhenAllTheirPixelsAre) {
    std::mt19937 random(1);
    const DeviceRect area{0, 0, 3, 2};
    const auto scaled = [&](std::uint32_t lastPixel) {
        const auto image = makeImage(3, 2, [&](NSUInteger x, NSUInteger y) {
            return x == 2 && y == 1 ? lastPixel : 0xFF000000U | random() >> 8;
        });
        return ScaledPictures().scaled(*image, {0, 1}, {0, 1}, area).opaque;
    };
    EXPECT_TRUE(scaled(0xFF102030));
    EXPECT_FALSE(scaled(0xFEFEFEFE));
}

TEST(ScaledPictures, AreNotOpaqueWhereAnEdgeCrossesAPixel) {
    std::mt19937 random(1);
    const auto image = noise(4, 4, 0xFF000000, random);
    EXPECT_FALSE(ScaledPictures().scaled(*image, {0.5, 1}, {0, 1}, {0, 0, 4, 4}).opaque);
}

TEST(ScaledPictures, KeepsWhatEveryFrameUses) {
    std::mt19937 random(1);
    const auto image = noise(40, 10, 0xFF000000, random);
    const PictureScaler::Axis doubled{0, 2};
    const DeviceRect area{0, 0, 80, 20};
    ScaledPictures pictures;
    const std::uint32_t *const pixels = pictures.scaled(*image, doubled, doubled, area).at(0, 0);
    pictures.endFrame();
    EXPECT_EQ(pictures.scaled(*image, doubled, doubled, area).at(0, 0), pixels);
    pictures.endFrame();
    EXPECT_EQ(image->retainCount(), 2u);
    pictures.endFrame();
    EXPECT_EQ(image->retainCount(), 1u);
}
