#include "Platform/CoreGraphics/ImageOperations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using Pixels = PixelBuffer;
using ::testing::ElementsAre;

Retained<CGImage> image(NSUInteger width, NSUInteger height, Pixels pixels) {
    return CGImage::imageWithPixels(width, height, std::move(pixels));
}

Pixels pixelsOf(const CGImage *picture) {
    return picture
               ? Pixels(picture->pixels(), picture->pixels() + picture->width() * picture->height())
               : Pixels();
}

} // namespace

TEST(MaskingColors, ClearPixelsWhoseEveryComponentLiesInItsRange) {
    const auto picture = image(4, 1, {0xff102030, 0xff112030, 0xff0f2030, 0xff102031});
    EXPECT_THAT(pixelsOf(CGImageCreateWithMaskingColors(picture.get(), {0x10, 0x11}, {0x20, 0x20},
                                                        {0, 0x30})
                             .get()),
                ElementsAre(0u, 0u, 0xff0f2030, 0xff102031));
}

TEST(MaskingColors, NeedAnOpaquePicture) {
    EXPECT_FALSE(CGImageCreateWithMaskingColors(image(1, 1, {0x80000000}).get(), {}, {}, {}));
    EXPECT_FALSE(CGImageCreateWithMaskingColors(nullptr, {}, {}, {}));
}

TEST(StencilMask, ComesFromGreyOpaquePicturesOnly) {
    EXPECT_TRUE(ImageMask::maskCreate(image(1, 1, {0xff777777}).get()));
    EXPECT_FALSE(ImageMask::maskCreate(image(1, 1, {0xff777877}).get()));
    EXPECT_FALSE(ImageMask::maskCreate(image(1, 1, {0xff777778}).get()));
    EXPECT_FALSE(ImageMask::maskCreate(image(1, 1, {0xfe777777}).get()));
    EXPECT_FALSE(ImageMask::maskCreate(nullptr));
}

TEST(StencilMask, ShowsAtZeroHidesAtTheLargestAndFadesBetween) {
    const auto mask =
        ImageMask::maskCreate(image(3, 1, {0xff000000, 0xff333333, 0xffffffff}).get());
    const auto picture = image(3, 1, {0xffffffff, 0xffffffff, 0xffffffff});
    EXPECT_THAT(pixelsOf(CGImageCreateWithMask(picture.get(), mask.get()).get()),
                ElementsAre(0xffffffff, 0xcccccccc, 0u));
}

TEST(StencilMask, IsStretchedOverThePicture) {
    const auto mask = ImageMask::maskCreate(image(2, 1, {0xff000000, 0xffffffff}).get());
    const auto picture = image(4, 2, Pixels(8, 0xff0000ff));
    EXPECT_THAT(pixelsOf(CGImageCreateWithMask(picture.get(), mask.get()).get()),
                ElementsAre(0xff0000ff, 0xff0000ff, 0u, 0u, 0xff0000ff, 0xff0000ff, 0u, 0u));
}

TEST(StencilMask, OfMoreSamplesThanPixelsShowsThoseUnderThePixelsMiddles) {
    const auto mask =
        ImageMask::maskCreate(image(3, 1, {0xffffffff, 0xff000000, 0xffffffff}).get());
    EXPECT_THAT(pixelsOf(CGImageCreateWithMask(image(1, 1, {0xff0000ff}).get(), mask.get()).get()),
                ElementsAre(0xff0000ff));
}

TEST(StencilMask, NeedsAPictureAndAMask) {
    const auto picture = image(1, 1, {0xff000000});
    EXPECT_FALSE(CGImageCreateWithMask(picture.get(), nullptr));
    EXPECT_FALSE(CGImageCreateWithMask(nullptr, ImageMask::maskCreate(picture.get()).get()));
}

TEST(Crop, OfANegativeSizeReachesTheOtherWay) {
    const auto picture = image(3, 1, {1u << 24, 2u << 24, 3u << 24});
    EXPECT_THAT(
        pixelsOf(CGImageCreateWithImageInRect(picture.get(), CGRectMake(3, 1, -2, -1)).get()),
        ElementsAre(2u << 24, 3u << 24));
}

TEST(Crop, OfAnInfiniteRectangleIsTheWholePicture) {
    const CGFloat huge = std::numeric_limits<CGFloat>::max();
    const auto picture = image(2, 1, {1u << 24, 2u << 24});
    EXPECT_THAT(pixelsOf(CGImageCreateWithImageInRect(picture.get(),
                                                      CGRectMake(-huge / 2, -huge / 2, huge, huge))
                             .get()),
                ElementsAre(1u << 24, 2u << 24));
}
