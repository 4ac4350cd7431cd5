#include "Platform/UIKit/UIImage.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Platform/UIKit/MainScreenScope.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <unistd.h>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Pixels = PixelBuffer;

/// A PNG file of that width and one pixel high; a test recognises it by the width.
Bytes pictureOfWidth(NSUInteger width) {
    const Pixels pixels(width, 0xff102030);
    return encodePNG(pixels.data(), width, 1, width, 6);
}

Retained<CGImage> bitmapOfSize(NSUInteger width, NSUInteger height) {
    return CGImage::imageWithPixels(width, height, Pixels(width * height, 0));
}

/// A screen's scale, or 0 for no screen; the densities of the existing files, and which of them
/// should be chosen.
struct Choice {
    CGFloat screenScale;
    std::vector<int> densities;
    int chosen;
};

std::ostream &operator<<(std::ostream &stream, const Choice &choice) {
    stream << "screen " << choice.screenScale << ", files";
    for (const int density : choice.densities) {
        stream << ' ' << density;
    }
    return stream;
}

std::string suffixOf(int density) {
    return density == 1 ? "" : "@" + std::to_string(density) + "x";
}

class UIImageDensity : public ::testing::TestWithParam<Choice> {};

const Choice kChoices[] = {
    {0, {1, 2, 3}, 1},   {1, {1, 2, 3}, 1}, {1.5, {1, 2, 3}, 2}, {2, {1, 2, 3}, 2},
    {2.5, {1, 2, 3}, 3}, {3, {1, 2, 3}, 3}, {4, {1, 2, 3}, 3},   {0.5, {1, 2, 3}, 1},
    {0, {1}, 1},         {1, {1}, 1},       {1.5, {1}, 1},       {2, {1}, 1},
    {3, {1}, 1},         {4, {1}, 1},       {1.5, {1, 3}, 3},    {2, {1, 3}, 3},
    {3, {1, 2}, 2},      {4, {1, 2}, 2},    {2, {3}, 3},         {3, {2}, 2},
    {2, {2, 3}, 2},
};

} // namespace

TEST_P(UIImageDensity, IsTheBestThatThereIsForTheScreen) {
    const MainScreenScope screen(GetParam().screenScale);
    const TemporaryFolder folder;
    for (const int density : GetParam().densities) {
        folder.write("petal" + suffixOf(density) + ".png",
                     pictureOfWidth(static_cast<NSUInteger>(density) * 10));
    }
    const auto image = UIImage::imageWithContentsOfFile(folder.pathOf("petal.png"));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bitmap()->width(), static_cast<NSUInteger>(GetParam().chosen) * 10);
    EXPECT_EQ(image->scale(), GetParam().chosen);
    EXPECT_EQ(image->size().width, 10);
    EXPECT_EQ(image->fileName(), "petal.png");
}

TEST_P(UIImageDensity, FallsBackToTheNextWhenTheBestIsDamaged) {
    const MainScreenScope screen(GetParam().screenScale);
    const TemporaryFolder folder;
    for (const int density : {1, 2, 3}) {
        folder.write("petal" + suffixOf(density) + ".png", "no picture");
    }
    for (const int density : GetParam().densities) {
        folder.write("petal" + suffixOf(density) + ".png",
                     pictureOfWidth(static_cast<NSUInteger>(density) * 10));
    }
    const auto image = UIImage::imageWithContentsOfFile(folder.pathOf("petal.png"));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->scale(), GetParam().chosen);
}

TEST(UIImage, IsNullOnAPlainScreenWhenOnlyDenserOnesAreThere) {
    const MainScreenScope screen(1);
    const TemporaryFolder folder;
    folder.write("petal@2x.png", pictureOfWidth(20));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.pathOf("petal.png")));
}

INSTANTIATE_TEST_SUITE_P(Table, UIImageDensity, ::testing::ValuesIn(kChoices));

TEST(UIImage, TakesADensityThatThePathNamesItselfAndNoStandIn) {
    const MainScreenScope screen(3);
    const TemporaryFolder folder;
    folder.write("petal@2x.png", pictureOfWidth(20));
    folder.write("petal@3x.png", pictureOfWidth(30));
    folder.write("petal@2x@3x.png", pictureOfWidth(60));
    const auto image = UIImage::imageWithContentsOfFile(folder.pathOf("petal@2x.png"));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bitmap()->width(), 20u);
    EXPECT_EQ(image->scale(), 2);
    EXPECT_EQ(image->fileName(), "petal@2x.png");
}

TEST(UIImage, IsNullWhenTheDensityThatThePathNamesIsMissing) {
    const TemporaryFolder folder;
    folder.write("petal.png", pictureOfWidth(10));
    folder.write("petal@3x.png", pictureOfWidth(30));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.pathOf("petal@2x.png")));
}

TEST(UIImage, FindsStandInsOfNamesWithoutAnExtension) {
    const MainScreenScope screen(2);
    const TemporaryFolder folder;
    folder.write("petal@2x", pictureOfWidth(20));
    std::filesystem::create_directory(folder.pathOf("dotted.folder"));
    folder.write("dotted.folder/petal@2x", pictureOfWidth(40));
    const auto image = UIImage::imageWithContentsOfFile(folder.pathOf("petal"));
    const auto other = UIImage::imageWithContentsOfFile(folder.pathOf("dotted.folder/petal"));
    ASSERT_TRUE(image && other);
    EXPECT_EQ(image->bitmap()->width(), 20u);
    EXPECT_EQ(other->bitmap()->width(), 40u);
}

TEST(UIImage, LooksAtTheFirstBytesAndNotAtTheExtension) {
    const TemporaryFolder folder;
    const auto image =
        UIImage::imageWithContentsOfFile(folder.write("petal.jpg", pictureOfWidth(10)));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->fileName(), "petal.jpg");
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.write("text.png", "no picture")));
}

TEST(UIImage, IsNullForWhatIsNoPictureFile) {
    const TemporaryFolder folder;
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(""));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.pathOf("missing.png")));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.write("empty.png", "")));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.makeFolder("folder.png")));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.path() + "/"));
}

TEST(UIImage, IsNullForAFileThatMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "needs a user other than root";
    }
    const TemporaryFolder folder;
    const std::string path = folder.write("petal.png", pictureOfWidth(10));
    std::filesystem::permissions(path, std::filesystem::perms::none);
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(path));
}

TEST(UIImage, IsNullForALinkThatLeadsNowhere) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("missing.png", folder.pathOf("petal.png"));
    EXPECT_FALSE(UIImage::imageWithContentsOfFile(folder.pathOf("petal.png")));
}

TEST(UIImage, ComesFromBytesAtScaleOneWhateverTheScreen) {
    const MainScreenScope screen(3);
    const auto image = UIImage::imageWithData(pictureOfWidth(7));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->scale(), 1);
    EXPECT_EQ(image->size(), CGSizeMake(7, 1));
    EXPECT_EQ(image->imageOrientation(), UIImageOrientation::Up);
    EXPECT_EQ(image->fileName(), "");
}

TEST(UIImage, IsNullForBytesOfNoPicture) {
    EXPECT_FALSE(UIImage::imageWithData({}));
    EXPECT_FALSE(UIImage::imageWithData(Bytes{1, 2, 3}));
}

TEST(UIImage, SharesABitmapAtAnotherScaleAndOrientation) {
    const auto bitmap = bitmapOfSize(9, 6);
    const auto image =
        UIImage::imageWithCGImage_scale_orientation(bitmap, 1.5, UIImageOrientation::LeftMirrored);
    EXPECT_EQ(image->bitmap(), bitmap);
    EXPECT_EQ(image->scale(), 1.5);
    EXPECT_EQ(image->size(), CGSizeMake(6, 4));
    EXPECT_EQ(image->imageOrientation(), UIImageOrientation::LeftMirrored);
    EXPECT_EQ(image->fileName(), "");
}

TEST(UIImage, IsNullForANullBitmap) {
    EXPECT_FALSE(UIImage::imageWithCGImage_scale_orientation(nullptr, 1, UIImageOrientation::Up));
}

TEST(UIImage, TakesAScaleThatIsNotAboveZeroForOne) {
    using Limits = std::numeric_limits<CGFloat>;
    for (const CGFloat scale : {CGFloat{0}, CGFloat{-2}, Limits::quiet_NaN(), Limits::infinity()}) {
        const auto image = UIImage::imageWithCGImage_scale_orientation(bitmapOfSize(2, 2), scale,
                                                                       UIImageOrientation::Up);
        EXPECT_EQ(image->scale(), 1) << scale;
    }
}
