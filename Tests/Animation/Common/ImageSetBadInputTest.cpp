#include "Animation/Common/ImageSet.h"

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr CGFloat kInfinity = std::numeric_limits<CGFloat>::infinity();
constexpr CGFloat kNaN = std::numeric_limits<CGFloat>::quiet_NaN();
constexpr CGFloat kHuge = std::numeric_limits<CGFloat>::max();

constexpr CGFloat kStrange[] = {kNaN,  kInfinity, -kInfinity, kHuge,  -kHuge,  1e18,
                                -1e18, 1e9,       -1e9,       1e-300, -1e-300, 0.0};

Retained<UIImage> atScale(CGFloat scale) {
    return UIImage::imageWithCGImage_scale_orientation(pictureOfSize(8, 4)->bitmap(), scale,
                                                       UIImageOrientation::Up);
}

Retained<UIColor> red() { return UIColor::colorWithRed_green_blue_alpha(1, 0, 0, 1); }

/// A small file whose header claims very many pixels.
Bytes bomb() {
    PNGBuilder::Header header;
    header.width = 100000;
    header.height = 100000;
    return PNGBuilder(header)
        .chunk("IDAT", PNGBuilder::stored(Bytes(64)))
        .chunk("IEND", {})
        .finish();
}

} // namespace

TEST(PictureOperations, GiveNullForANullPicture) {
    EXPECT_FALSE(ImageSet::colorizeImage_withColor(nullptr, red().get()));
    EXPECT_FALSE(ImageSet::colorizeImage_withColor(nullptr, nullptr));
    EXPECT_FALSE(ImageSet::maskImage_withImage(nullptr, pictureOfSize(1, 1).get()));
    EXPECT_FALSE(SpriteExtend::clipImageWithRect(nullptr, CGRectMake(0, 0, 1, 1)));
    EXPECT_FALSE(SpriteExtend::createGrayImageWithAlpha(nullptr, true));
    EXPECT_FALSE(SpriteExtend::imageColorOverlay(nullptr, red().get()));
    EXPECT_FALSE(SpriteExtend::drawToImage(nullptr, pictureOfSize(1, 1).get()));
    EXPECT_FALSE(SpriteExtend::imageWithRoundCorners(nullptr, 3));
    EXPECT_FALSE(SpriteExtend::getImageData(nullptr));
    EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt({}, true));
    EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt({}, false));
}

TEST(PictureOperations, GiveAnEmptyPictureForANullMask) {
    const auto result = ImageSet::maskImage_withImage(pictureOfSize(3, 2).get(), nullptr);
    ASSERT_TRUE(result);
    EXPECT_EQ(std::count(result->bitmap()->pixels(), result->bitmap()->pixels() + 6, 0u), 6);
}

TEST(PictureOperations, SurviveStrangeRectangles) {
    const auto image = pictureOfSize(8, 4);
    for (const CGFloat a : kStrange) {
        for (const CGFloat b : kStrange) {
            for (const CGRect &rect : {CGRectMake(a, 0, b, 4), CGRectMake(0, a, 8, b)}) {
                const auto part = SpriteExtend::clipImageWithRect(image.get(), rect);
                EXPECT_TRUE(!part ||
                            (part->bitmap()->width() <= 8 && part->bitmap()->height() <= 4));
            }
        }
    }
}

TEST(PictureOperations, SurviveStrangeRadii) {
    const auto image = pictureOfSize(8, 4);
    for (const CGFloat radius : kStrange) {
        const auto result = SpriteExtend::imageWithRoundCorners(image.get(), radius);
        ASSERT_TRUE(result) << radius;
        EXPECT_EQ(result->size(), image->size()) << radius;
    }
}

TEST(PictureOperations, SurviveStrangeScales) {
    for (const CGFloat scale : {1e-300, 1e-6, 1e-3, 0.3, 1.0, 7.5, 1e6, 1e300}) {
        const auto image = atScale(scale);
        ImageSet::colorizeImage_withColor(image, red().get());
        ImageSet::maskImage_withImage(image.get(), image.get());
        SpriteExtend::imageColorOverlay(image.get(), red().get());
        SpriteExtend::drawToImage(image.get(), image.get());
        SpriteExtend::createGrayImageWithAlpha(image.get(), true);
        SpriteExtend::imageWithRoundCorners(image.get(), 2);
        const auto small = pictureOfSize(2, 2);
        EXPECT_TRUE(SpriteExtend::drawToImage(small.get(), image.get())) << scale;
    }
}

TEST(PictureOperations, GiveNullWhereTheResultWouldBeBeyondAllSizes) {
    const auto image = atScale(1e-4);
    EXPECT_FALSE(ImageSet::colorizeImage_withColor(image, red().get()));
    EXPECT_FALSE(SpriteExtend::createGrayImageWithAlpha(image.get(), true));
    EXPECT_FALSE(SpriteExtend::imageWithRoundCorners(image.get(), 2));
}

TEST(PictureOperations, GiveNullWhereAPictureHasNoWholePoint) {
    const auto image = atScale(100);
    EXPECT_FALSE(SpriteExtend::createGrayImageWithAlpha(image.get(), true));
    EXPECT_FALSE(SpriteExtend::imageWithRoundCorners(image.get(), 2));
    EXPECT_TRUE(ImageSet::colorizeImage_withColor(image, red().get()));
}

TEST(DamagedPictures, AreNullHoweverTheyCome) {
    for (const char *name : {"quarters-420.jpg", "small-lossless.webp", "quarters-lossy.webp"}) {
        const Bytes whole = samplePicture(name);
        for (std::size_t size = 0; size < whole.size() / 2; size += 7) {
            Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt(part, false)) << name << size;
            DataEncrypt::transformPairs(part);
            EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt(part, true)) << name << size;
        }
    }
}

TEST(DamagedPictures, OfPNGAreNullWhereverTheyEnd) {
    const std::string whole = pngOfSize(5, 3);
    for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const auto image = SpriteExtend::imageWithData_dencrypt(part, false);
        EXPECT_TRUE(!image || size + 12 >= whole.size()) << size << " of " << whole.size();
    }
}

TEST(DamagedPictures, ThatClaimTooMuchAreNull) {
    EXPECT_FALSE(SpriteExtend::imageWithData_dencrypt(bomb(), false));
    const TemporaryFolder folder;
    EXPECT_FALSE(
        SpriteExtend::imageWithContentsOfFile_dencrypt(folder.write("x.png", bomb()), false));
}

TEST(PictureFiles, AreKnownByTheirContentsNotTheirNames) {
    const TemporaryFolder folder;
    const std::string jpeg = folder.write("x.png", samplePicture("quarters-420.jpg"));
    EXPECT_TRUE(SpriteExtend::imageWithContentsOfFile_dencrypt(jpeg, false));
    EXPECT_FALSE(
        SpriteExtend::imageWithContentsOfFile_dencrypt(folder.write("y.png", "text"), false));
    EXPECT_FALSE(SpriteExtend::imageWithContentsOfFile_dencrypt(folder.path(), false));
    EXPECT_FALSE(SpriteExtend::imageWithContentsOfFile_dencrypt("", true));
}
