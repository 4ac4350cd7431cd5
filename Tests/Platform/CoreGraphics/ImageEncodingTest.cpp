#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

namespace {

using Pixels = std::vector<std::uint32_t>;

constexpr std::size_t kColorTypePosition = 25;

/// Every alpha with every premultiplied colour that it allows.
Pixels everyPremultipliedGrey() {
    Pixels pixels;
    for (std::uint32_t alpha = 0; alpha < 256; ++alpha) {
        for (std::uint32_t color = 0; color < 256; ++color) {
            const std::uint32_t grey = std::min(color, alpha);
            pixels.push_back(alpha << 24 | grey << 16 | (alpha - grey) << 8 | grey);
        }
    }
    return pixels;
}

Pixels pixelsOf(const CGImage &image) {
    return {image.pixels(), image.pixels() + image.width() * image.height()};
}

class PNGLevels : public ::testing::TestWithParam<int> {};

} // namespace

TEST_P(PNGLevels, ComeBackUnchanged) {
    const Pixels pixels = everyPremultipliedGrey();
    const auto image = CGImageCreateWithData(encodePNG(pixels.data(), 256, 256, 256, GetParam()));
    ASSERT_TRUE(image);
    EXPECT_EQ(pixelsOf(*image), pixels);
}

TEST_P(PNGLevels, GiveTheSameBytesAgain) {
    const Pixels pixels = everyPremultipliedGrey();
    EXPECT_EQ(encodePNG(pixels.data(), 256, 256, 256, GetParam()),
              encodePNG(pixels.data(), 256, 256, 256, GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, PNGLevels, ::testing::Range(0, 10));

TEST(ImageEncoding, LeavesAlphaOutWhenEverythingIsOpaque) {
    const Pixels pixels{0xff102030, 0xffffffff};
    const auto file = encodePNG(pixels.data(), 2, 1, 2, 6);
    ASSERT_GT(file.size(), kColorTypePosition);
    EXPECT_EQ(file[kColorTypePosition], 2);
    EXPECT_EQ(pixelsOf(*CGImageCreateWithData(file)), pixels);
}

TEST(ImageEncoding, KeepsAlphaWhenOnePixelIsNotOpaque) {
    const Pixels pixels{0xff102030, 0xfe000000};
    const auto file = encodePNG(pixels.data(), 2, 1, 2, 6);
    ASSERT_GT(file.size(), kColorTypePosition);
    EXPECT_EQ(file[kColorTypePosition], 6);
    EXPECT_EQ(pixelsOf(*CGImageCreateWithData(file)), pixels);
}

TEST(ImageEncoding, SkipsWhatLiesBetweenRows) {
    const Pixels pixels{0xff000001, 0x00000000, 0xff000002, 0x00000000};
    const auto image = CGImageCreateWithData(encodePNG(pixels.data(), 1, 2, 2, 6));
    ASSERT_TRUE(image);
    EXPECT_EQ(pixelsOf(*image), (Pixels{0xff000001, 0xff000002}));
    EXPECT_TRUE(image->isOpaque());
}

TEST(ImageEncoding, TakesLevelsOutsideTheRangeForTheNearest) {
    const Pixels pixels = everyPremultipliedGrey();
    const auto write = [&](int level) { return encodePNG(pixels.data(), 256, 256, 256, level); };
    EXPECT_EQ(write(-5), write(0));
    EXPECT_EQ(write(99), write(9));
}

TEST(ImageEncoding, MakesSmallerFilesAtHigherLevels) {
    const Pixels pixels = everyPremultipliedGrey();
    const auto sizeAt = [&](int level) {
        return encodePNG(pixels.data(), 256, 256, 256, level).size();
    };
    EXPECT_GT(sizeAt(0), 256u * 256 * 4);
    EXPECT_LT(sizeAt(1), sizeAt(0) / 2);
    EXPECT_LT(sizeAt(9), sizeAt(1));
}

TEST(ImageEncoding, GivesNothingForSizesThatNoBitmapHas) {
    const Pixels pixels(16385);
    EXPECT_TRUE(encodePNG(pixels.data(), 0, 1, 1, 6).empty());
    EXPECT_TRUE(encodePNG(pixels.data(), 1, 0, 1, 6).empty());
    EXPECT_TRUE(encodePNG(pixels.data(), 16385, 1, 16385, 6).empty());
    EXPECT_TRUE(encodePNG(pixels.data(), 2, 2, 1, 6).empty());
}
