#include "Platform/CoreGraphics/CGImage.h"

#include <gtest/gtest.h>

using Pixels = PixelBuffer;

/// The compositor copies a full-screen picture by whole cache lines, so pixels must begin at one.
TEST(PixelBuffer, BeginAtALineOfTheCache) {
    for (std::size_t count = 1; count < 100000; count = count * 3 + 1) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Pixels(count, 0).data()) % 64, 0u) << count;
    }
}

TEST(CGImage, KeepsThePixelsItIsGiven) {
    const auto image = CGImage::imageWithPixels(2, 3, {1, 2, 3, 4, 5, 6});
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 2u);
    EXPECT_EQ(image->height(), 3u);
    EXPECT_EQ(Pixels(image->pixels(), image->pixels() + 6), Pixels({1, 2, 3, 4, 5, 6}));
}

TEST(CGImage, IsNullForAnEmptySide) {
    EXPECT_FALSE(CGImage::imageWithPixels(0, 1, {}));
    EXPECT_FALSE(CGImage::imageWithPixels(1, 0, {}));
    EXPECT_FALSE(CGImage::imageWithPixels(0, 0, {}));
}

TEST(CGImage, IsNullForTheWrongNumberOfPixels) {
    EXPECT_FALSE(CGImage::imageWithPixels(2, 2, Pixels(3)));
    EXPECT_FALSE(CGImage::imageWithPixels(2, 2, Pixels(5)));
}

TEST(CGImage, TakesSidesUpToTheLargest) {
    EXPECT_TRUE(CGImage::imageWithPixels(16384, 1, Pixels(16384, 0)));
    EXPECT_TRUE(CGImage::imageWithPixels(1, 16384, Pixels(16384, 0)));
    EXPECT_FALSE(CGImage::imageWithPixels(16385, 1, Pixels(16385)));
    EXPECT_FALSE(CGImage::imageWithPixels(1, 16385, Pixels(16385)));
}

TEST(CGImage, SupportsSizesUpToTheLargestNumberOfBytes) {
    EXPECT_TRUE(CGImage::isSizeSupported(16384, 4096));
    EXPECT_TRUE(CGImage::isSizeSupported(8192, 8192));
    EXPECT_FALSE(CGImage::isSizeSupported(16384, 4097));
    EXPECT_FALSE(CGImage::isSizeSupported(8192, 8193));
}

TEST(CGImage, DoesNotSupportSizesWhoseProductOverflows) {
    EXPECT_FALSE(CGImage::isSizeSupported(std::uint64_t{1} << 32, std::uint64_t{1} << 32));
    EXPECT_FALSE(CGImage::isSizeSupported(~std::uint64_t{0}, ~std::uint64_t{0}));
    EXPECT_FALSE(CGImage::isSizeSupported((std::uint64_t{1} << 63) + 1, 2));
}

TEST(CGImage, IsOpaqueWhenEveryPixelIs) {
    EXPECT_TRUE(CGImage::imageWithPixels(2, 1, {0xff000000, 0xffffffff})->isOpaque());
    EXPECT_FALSE(CGImage::imageWithPixels(2, 1, {0xff000000, 0xfe000000})->isOpaque());
}
