#include "Animation/Common/ImageSet.h"

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Animation/Support/RealPicture.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace {

using Pixels = PixelBuffer;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr std::uint32_t kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff;
constexpr std::uint32_t kWhite = 0xffffffff, kBlack = 0xff000000;

Retained<UIImage> imageOf(NSUInteger width, NSUInteger height, Pixels pixels, CGFloat scale = 1) {
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(width, height, std::move(pixels)), scale, UIImageOrientation::Up);
}

Pixels pixelsOf(const UIImage *image) {
    if (!image) {
        return {};
    }
    const CGImage &bitmap = *image->bitmap();
    return {bitmap.pixels(), bitmap.pixels() + bitmap.width() * bitmap.height()};
}

Retained<UIColor> color(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha = 1) {
    return UIColor::colorWithRed_green_blue_alpha(red, green, blue, alpha);
}

/// Four corners, each of a colour of its own.
Retained<UIImage> asymmetric() { return imageOf(2, 2, {kRed, kGreen, kBlue, kWhite}); }

struct Operation {
    const char *name;
    std::function<Retained<UIImage>(Retained<UIImage>)> apply;
    Pixels expected;
};

std::ostream &operator<<(std::ostream &stream, const Operation &operation) {
    return stream << operation.name;
}

class Upright : public ::testing::TestWithParam<Operation> {};

} // namespace

TEST_P(Upright, LeavesEveryCornerInItsPlace) {
    EXPECT_EQ(pixelsOf(GetParam().apply(asymmetric()).get()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, Upright,
    ::testing::Values(
        Operation{"tint in white",
                  [](auto image) {
                      return ImageSet::colorizeImage_withColor(image, color(1, 1, 1).get());
                  },
                  {kRed, kGreen, kBlue, kWhite}},
        Operation{"tint in yellow",
                  [](auto image) {
                      return ImageSet::colorizeImage_withColor(image, color(1, 1, 0).get());
                  },
                  {kRed, kGreen, kBlack, 0xffffff00}},
        Operation{"overlay on half red",
                  [](auto image) {
                      return SpriteExtend::imageColorOverlay(image.get(), color(0.5, 0, 0).get());
                  },
                  {kRed, kBlack, kBlack, kRed}},
        Operation{"mask of nothing",
                  [](auto image) {
                      return ImageSet::maskImage_withImage(
                          image.get(), imageOf(2, 2, {kBlack, kWhite, kBlack, kBlack}).get());
                  },
                  {kRed, 0, kBlue, kWhite}},
        Operation{"combine with itself",
                  [](auto image) { return SpriteExtend::drawToImage(image.get(), image.get()); },
                  {kRed, kGreen, kBlue, kWhite}},
        Operation{"combine with one corner",
                  [](auto image) {
                      return SpriteExtend::drawToImage(image.get(),
                                                       imageOf(2, 2, {0, 0, kBlack, 0}).get());
                  },
                  {kRed, kGreen, kBlack, kWhite}},
        Operation{"round by nothing",
                  [](auto image) { return SpriteExtend::imageWithRoundCorners(image.get(), 0); },
                  {kRed, kGreen, kBlue, kWhite}},
        Operation{"clip to the lower left",
                  [](auto image) {
                      return SpriteExtend::clipImageWithRect(image.get(), CGRectMake(0, 1, 1, 1));
                  },
                  {kBlue}},
        Operation{
            "grey",
            [](auto image) { return SpriteExtend::createGrayImageWithAlpha(image.get(), false); },
            {0xff363636, 0xffb6b6b6, 0xff121212, kWhite}}));

TEST(Tint, GivesTheVerySameImageForANullColor) {
    const auto image = asymmetric();
    EXPECT_EQ(ImageSet::colorizeImage_withColor(image, nullptr), image);
}

TEST(Tint, LeavesItsInputUnchanged) {
    const auto image = asymmetric();
    ImageSet::colorizeImage_withColor(image, color(0, 0, 0).get());
    EXPECT_EQ(pixelsOf(image.get()), (Pixels{kRed, kGreen, kBlue, kWhite}));
}

TEST(Tint, OfAHalfTransparentPixelIsLessTransparent) {
    const auto image = imageOf(1, 1, {0x80400000});
    const auto result = ImageSet::colorizeImage_withColor(image, color(0, 1, 0).get());
    // a = 128/255: alpha 2a − a², red p(1−a), green a(1−a).
    EXPECT_EQ(pixelsOf(result.get()), Pixels{0xc0204000});
}

TEST(Tint, OfAPictureAtTwoPixelsAPointHasOnePixelAPoint) {
    const auto image = imageOf(4, 4, Pixels(16, kRed), 2);
    const auto result = ImageSet::colorizeImage_withColor(image, color(1, 1, 1).get());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->scale(), 1);
    EXPECT_EQ(pixelsOf(result.get()), Pixels(4, kRed));
}

TEST(Tint, OfAnOddPictureAtTwoPixelsAPointEndsInHalfAPixel) {
    const auto image = imageOf(4, 3, Pixels(12, kWhite), 2);
    const auto result = ImageSet::colorizeImage_withColor(image, color(1, 1, 1).get());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->bitmap()->height(), 2u);
    const Pixels pixels = pixelsOf(result.get());
    EXPECT_EQ(pixels[0], kWhite);
    EXPECT_GT(pixels[2] >> 24, 0u);
    EXPECT_LT(pixels[2] >> 24, 255u);
}

TEST(Overlay, OnANullColorIsOnOpaqueBlack) {
    const auto image = asymmetric();
    EXPECT_THAT(pixelsOf(SpriteExtend::imageColorOverlay(image.get(), nullptr).get()),
                Each(kBlack));
}

TEST(Overlay, KeepsThePicturesShape) {
    const auto image = imageOf(2, 1, {0, kWhite});
    EXPECT_THAT(pixelsOf(SpriteExtend::imageColorOverlay(image.get(), color(1, 0, 0).get()).get()),
                ElementsAre(0u, kRed));
}

TEST(Mask, ShowsThePictureWhereItIsBlackAndHidesItWhereItIsWhite) {
    const auto image = imageOf(3, 1, {kRed, kRed, kRed});
    const auto mask = imageOf(3, 1, {kBlack, kWhite, 0xff808080});
    EXPECT_THAT(pixelsOf(ImageSet::maskImage_withImage(image.get(), mask.get()).get()),
                ElementsAre(kRed, 0u, 0x7f7f0000u));
}

TEST(Mask, WithColorOrAlphaGivesAnEmptyPicture) {
    const auto image = asymmetric();
    for (const std::uint32_t pixel : {kRed, 0x80000000u, 0xff000001u}) {
        const auto mask = imageOf(1, 2, {kBlack, pixel});
        EXPECT_EQ(pixelsOf(ImageSet::maskImage_withImage(image.get(), mask.get()).get()),
                  Pixels(4, 0));
    }
}

TEST(Grey, WithAlphaMakesPureBlackTransparentAndNothingElse) {
    const auto image = imageOf(4, 1, {kBlack, 0xff010101, kWhite, 0});
    EXPECT_THAT(pixelsOf(SpriteExtend::createGrayImageWithAlpha(image.get(), true).get()),
                ElementsAre(0u, 0xff010101u, kWhite, 0u));
}

TEST(Grey, WithoutAlphaIsOpaqueEverywhere) {
    const auto image = imageOf(3, 1, {kBlack, 0x80808080, 0});
    EXPECT_THAT(pixelsOf(SpriteExtend::createGrayImageWithAlpha(image.get(), false).get()),
                ElementsAre(kBlack, 0xff808080u, kBlack));
}

TEST(Grey, MapsEveryNeutralGreyToItself) {
    Pixels greys;
    for (std::uint32_t grey = 0; grey < 256; ++grey) {
        greys.push_back(0xff000000 | grey * 0x010101);
    }
    const auto image = imageOf(256, 1, greys);
    EXPECT_EQ(pixelsOf(SpriteExtend::createGrayImageWithAlpha(image.get(), false).get()), greys);
}

TEST(Grey, OfLessThanAPointIsNull) {
    EXPECT_FALSE(SpriteExtend::createGrayImageWithAlpha(imageOf(1, 1, {kRed}, 2).get(), false));
}

TEST(Combine, StretchesASmallerSecondImageOverTheWholeFirst) {
    const auto image = imageOf(40, 30, Pixels(1200, kRed));
    const auto top = imageOf(3, 2, Pixels(6, kGreen));
    EXPECT_THAT(pixelsOf(SpriteExtend::drawToImage(image.get(), top.get()).get()), Each(kGreen));
}

TEST(Combine, StretchesUpright) {
    const auto image = imageOf(40, 40, Pixels(1600, kRed));
    const auto pixels = pixelsOf(SpriteExtend::drawToImage(image.get(), asymmetric().get()).get());
    ASSERT_EQ(pixels.size(), 1600u);
    EXPECT_EQ(pixels[0], kRed);
    EXPECT_EQ(pixels[39], kGreen);
    EXPECT_EQ(pixels[39 * 40], kBlue);
    EXPECT_EQ(pixels[39 * 40 + 39], kWhite);
}

TEST(Combine, WithNothingIsTheFirstImage) {
    EXPECT_EQ(pixelsOf(SpriteExtend::drawToImage(asymmetric().get(), nullptr).get()),
              pixelsOf(asymmetric().get()));
}

TEST(RoundCorners, OfRadiusZeroLeaveTheShapeUnchanged) {
    const auto image = imageOf(20, 20, Pixels(400, 0x80402010));
    EXPECT_EQ(pixelsOf(SpriteExtend::imageWithRoundCorners(image.get(), 0).get()),
              pixelsOf(image.get()));
}

TEST(RoundCorners, OfANegativeRadiusAreThoseOfThePositiveOne) {
    const auto image = imageOf(20, 20, Pixels(400, kRed));
    const auto expected = RealPicture::from(*SpriteExtend::imageWithRoundCorners(image.get(), 6));
    const auto result = SpriteExtend::imageWithRoundCorners(image.get(), -6);
    EXPECT_LE(expected.differenceFrom(result.get()), 2);
}

TEST(RoundCorners, OfSlightlyMoreThanHalfThePictureKeepItsMiddle) {
    const auto image = imageOf(20, 12, Pixels(240, kRed));
    const auto pixels = pixelsOf(SpriteExtend::imageWithRoundCorners(image.get(), 7).get());
    ASSERT_EQ(pixels.size(), 240u);
    EXPECT_EQ(pixels[6 * 20 + 10], kRed);
    EXPECT_EQ(pixels[0], 0u);
}

TEST(RoundCorners, OfAnyRadiusGiveAPictureOfTheSameSize) {
    const auto image = imageOf(20, 12, Pixels(240, kRed));
    for (const CGFloat radius : {1e-300, 1e-3, 11.0, 40.0, 1e4, 1e6, -1e6, 1e12, 1e300}) {
        EXPECT_EQ(pixelsOf(SpriteExtend::imageWithRoundCorners(image.get(), radius).get()).size(),
                  240u)
            << radius;
    }
}

namespace {

/// Four quarters, each of a colour of its own.
Retained<UIImage> quartersOf(NSUInteger width, NSUInteger height, CGFloat scale) {
    Pixels pixels(width * height);
    for (NSUInteger i = 0; i < pixels.size(); ++i) {
        constexpr std::uint32_t kColors[] = {kRed, kGreen, kBlue, kWhite};
        pixels[i] = kColors[(i % width * 2 / width) + (i / width * 2 / height) * 2];
    }
    return imageOf(width, height, std::move(pixels), scale);
}

/// How much of a pixel lies inside a rectangle with rounded corners, whose lower left corner is the
/// bitmap's; y runs up.
double coverage(int x, int y, double width, double height, double radius) {
    constexpr int kSamples = 64;
    int inside = 0;
    for (int i = 0; i < kSamples * kSamples; ++i) {
        const double px = x + (i % kSamples + 0.5) / kSamples;
        const double py = y + (i / kSamples + 0.5) / kSamples;
        const double dx = std::max({radius - px, px - (width - radius), 0.0});
        const double dy = std::max({radius - py, py - (height - radius), 0.0});
        inside += px <= width && py <= height && dx * dx + dy * dy <= radius * radius;
    }
    return static_cast<double>(inside) / (kSamples * kSamples);
}

} // namespace

TEST(DensePictures, AreRoundedInPoints) {
    constexpr double kRadius = 1.5;
    for (const NSUInteger scale : {2u, 3u}) {
        // The size is a third or half of a point more than a whole number.
        const NSUInteger width = 6 * scale + 1, height = 4 * scale + 1;
        const auto image = imageOf(width, height, Pixels(width * height, kRed), scale);
        const auto result = SpriteExtend::imageWithRoundCorners(image.get(), kRadius);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->scale(), 1);
        ASSERT_EQ(result->size(), CGSizeMake(6, 4));
        const CGSize size = image->size();
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 6; ++x) {
                const double expected = coverage(x, 3 - y, size.width, size.height, kRadius);
                const std::uint32_t found = pixelsOf(result.get())[y * 6 + x];
                EXPECT_NEAR(found >> 24, expected * 255, 3) << x << ", " << y << " at " << scale;
                EXPECT_EQ(found >> 16 & 0xff, found >> 24);
            }
        }
    }
}

TEST(DensePictures, AreOverlaidInPoints) {
    for (const NSUInteger scale : {2u, 3u}) {
        const auto image = quartersOf(6 * scale, 4 * scale, scale);
        const auto result =
            SpriteExtend::imageColorOverlay(image.get(), color(0.25, 0.25, 0.25).get());
        ASSERT_TRUE(result);
        EXPECT_EQ(result->scale(), 1);
        ASSERT_EQ(result->size(), CGSizeMake(6, 4));
        // The backdrop is a dark grey, which multiplies: the result is twice a quarter of the
        // colour above.
        const Pixels pixels = pixelsOf(result.get());
        EXPECT_EQ(pixels[0], 0xff800000u);
        EXPECT_EQ(pixels[5], 0xff008000u);
        EXPECT_EQ(pixels[18], 0xff000080u);
        EXPECT_EQ(pixels[23], 0xff808080u);
    }
}

TEST(DensePictures, AreCombinedAndTurnedGreyInPoints) {
    for (const NSUInteger scale : {2u, 3u}) {
        const auto image = quartersOf(6 * scale, 4 * scale, scale);
        const auto top = quartersOf(3, 2, 7);
        const auto combined = SpriteExtend::drawToImage(image.get(), top.get());
        ASSERT_TRUE(combined);
        EXPECT_EQ(combined->scale(), 1);
        ASSERT_EQ(combined->size(), CGSizeMake(6, 4));
        const NSUInteger width = 6 * scale + scale - 1;
        const auto odd = imageOf(width, 4 * scale, Pixels(width * 4 * scale, kWhite), scale);
        const auto grey = SpriteExtend::createGrayImageWithAlpha(odd.get(), false);
        ASSERT_TRUE(grey);
        EXPECT_EQ(grey->scale(), 1);
        EXPECT_EQ(grey->size(), CGSizeMake(6, 4));
        EXPECT_THAT(pixelsOf(grey.get()), Each(kWhite));
    }
}

TEST(Clip, PartlyOutsideGivesThePartInside) {
    const auto image = asymmetric();
    EXPECT_THAT(
        pixelsOf(SpriteExtend::clipImageWithRect(image.get(), CGRectMake(1, -5, 9, 6)).get()),
        ElementsAre(kGreen));
}

TEST(Clip, GrowsToWholePixels) {
    EXPECT_THAT(pixelsOf(SpriteExtend::clipImageWithRect(asymmetric().get(),
                                                         CGRectMake(0.5, 1.25, 0.75, 0.5))
                             .get()),
                ElementsAre(kBlue, kWhite));
}

TEST(Clip, CountsPixelsNotPointsAndGivesScaleOne) {
    const auto image = imageOf(2, 2, {kRed, kGreen, kBlue, kWhite}, 2);
    const auto part = SpriteExtend::clipImageWithRect(image.get(), CGRectMake(1, 1, 1, 1));
    ASSERT_TRUE(part);
    EXPECT_EQ(part->scale(), 1);
    EXPECT_THAT(pixelsOf(part.get()), ElementsAre(kWhite));
}

TEST(Clip, WhollyOutsideIsNull) {
    for (const CGRect &rect : {CGRectMake(2, 0, 5, 5), CGRectMake(0, -3, 2, 3),
                               CGRectMake(0, 0, 0, 2), CGRectMake(-9, 0, 9, 1)}) {
        EXPECT_FALSE(SpriteExtend::clipImageWithRect(asymmetric().get(), rect));
    }
}

TEST(ScrambledPicture, ComesBackWithDencryptAndNotWithout) {
    const auto bytes = encodePNG(Pixels{kRed, kGreen}.data(), 2, 1, 2, 6);
    auto scrambled = bytes;
    DataEncrypt::transformPairs(scrambled);
    const auto kept = scrambled;
    EXPECT_THAT(pixelsOf(SpriteExtend::imageWithData_dencrypt(scrambled, true).get()),
                ElementsAre(kRed, kGreen));
    EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt(scrambled, false));
    EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt(bytes, true));
    EXPECT_TRUE(SpriteExtend::imageWithData_dencrypt(bytes, false));
    EXPECT_EQ(scrambled, kept);
}

TEST(ScrambledPicture, ComesBackFromAFileToo) {
    const TemporaryFolder folder;
    auto bytes = encodePNG(Pixels{kBlue}.data(), 1, 1, 1, 6);
    const std::string plain = folder.write("plain.png", bytes);
    DataEncrypt::transformPairs(bytes);
    const std::string scrambled = folder.write("scrambled", bytes);
    EXPECT_TRUE(SpriteExtend::imageWithContentsOfFile_dencrypt(plain, false));
    EXPECT_THAT(pixelsOf(SpriteExtend::imageWithContentsOfFile_dencrypt(scrambled, true).get()),
                ElementsAre(kBlue));
    EXPECT_FALSE(SpriteExtend::imageWithContentsOfFile_dencrypt(scrambled, false));
    EXPECT_FALSE(SpriteExtend::imageWithContentsOfFile_dencrypt(folder.pathOf("none"), true));
}

TEST(RawPixels, OfATwoByOneRedImageAreAlphaRedGreenBlue) {
    const auto image = imageOf(2, 1, {kRed, kRed});
    std::uint8_t *bytes = SpriteExtend::getImageData(image.get());
    ASSERT_TRUE(bytes);
    EXPECT_THAT(std::vector<int>(bytes, bytes + 8),
                ElementsAre(0xff, 0xff, 0, 0, 0xff, 0xff, 0, 0));
    std::free(bytes);
}

TEST(RawPixels, CountPixelsNotPoints) {
    const auto image = imageOf(2, 2, {kRed, kGreen, kBlue, kWhite}, 2);
    std::uint8_t *bytes = SpriteExtend::getImageData(image.get());
    ASSERT_TRUE(bytes);
    EXPECT_THAT(std::vector<int>(bytes + 8, bytes + 16),
                ElementsAre(0xff, 0, 0, 0xff, 0xff, 0xff, 0xff, 0xff));
    std::free(bytes);
}
