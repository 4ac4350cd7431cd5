#include "Platform/CoreGraphics/CGContext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using Pixels = PixelBuffer;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr std::uint32_t kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff;
constexpr std::uint32_t kBlack = 0xff000000, kWhite = 0xffffffff;

Retained<CGContext> colorContext(NSUInteger width, NSUInteger height) {
    return CGContext::bitmapContextCreate(width, height, BitmapFormat::AlphaFirstPremultiplied);
}

Retained<CGImage> image(NSUInteger width, NSUInteger height, Pixels pixels) {
    return CGImage::imageWithPixels(width, height, std::move(pixels));
}

Pixels pixelsOf(const CGContext &context) {
    const auto picture = context.createImage();
    return {picture->pixels(), picture->pixels() + picture->width() * picture->height()};
}

} // namespace

TEST(BitmapContext, IsNullForASizeOfZeroOrBeyondTheBounds) {
    for (const NSUInteger size : {NSUInteger{0}, CGImage::kMaxSide + 1, ~NSUInteger{0}}) {
        EXPECT_FALSE(colorContext(size, 1));
        EXPECT_FALSE(colorContext(1, size));
    }
    EXPECT_FALSE(colorContext(CGImage::kMaxSide, CGImage::kMaxSide));
}

TEST(BitmapContext, BeginsClearAndAGreyOneBlack) {
    EXPECT_THAT(pixelsOf(*colorContext(2, 1)), Each(0u));
    EXPECT_THAT(pixelsOf(*CGContext::bitmapContextCreate(2, 1, BitmapFormat::Grey)), Each(kBlack));
}

TEST(BitmapContext, HasItsOriginAtTheBottomLeft) {
    const auto context = colorContext(2, 2);
    context->fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(0u, 0u, kBlack, 0u));
}

TEST(BitmapContext, DrawsPicturesUpright) {
    const auto context = colorContext(2, 2);
    context->drawImage(CGRectMake(0, 0, 2, 2), image(2, 2, {kRed, kGreen, kBlue, kWhite}).get());
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kRed, kGreen, kBlue, kWhite));
}

TEST(BitmapContext, DrawsPicturesUpsideDownWhenItIsFlipped) {
    const auto context = colorContext(1, 2);
    context->translateCTM(0, 2);
    context->scaleCTM(1, -1);
    context->drawImage(CGRectMake(0, 0, 1, 2), image(1, 2, {kRed, kGreen}).get());
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kGreen, kRed));
}

TEST(BitmapContext, AppliesTheLastTransformFirst) {
    const auto context = colorContext(4, 1);
    context->scaleCTM(2, 1);
    context->translateCTM(1, 0);
    context->fillRect(CGRectMake(0, 0, 0.5, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(0u, 0u, kBlack, 0u));
}

TEST(BitmapContext, DrawsOnlyThePartOfAPictureThatIsInside) {
    const auto context = colorContext(2, 1);
    context->drawImage(CGRectMake(-1, 0, 2, 1), image(2, 1, {kRed, kGreen}).get());
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kGreen, 0u));
    context->drawImage(CGRectMake(5, 5, 2, 1), image(2, 1, {kRed, kRed}).get());
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kGreen, 0u));
}

TEST(BitmapContext, RestoresWhatItSaved) {
    const auto context = colorContext(2, 1);
    context->saveGState();
    context->setFillColor({1, 0, 0, 1});
    context->setBlendMode(CGBlendMode::Multiply);
    context->translateCTM(1, 0);
    context->clipToMask(CGRectMake(0, 0, 2, 1), nullptr);
    context->restoreGState();
    context->fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kBlack, 0u));
}

TEST(BitmapContext, IgnoresARestoreWithoutASave) {
    const auto context = colorContext(1, 1);
    context->setFillColor({1, 0, 0, 1});
    context->restoreGState();
    context->fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kRed));
}

TEST(BitmapContext, PaintsThroughThePicturesAlpha) {
    const auto context = colorContext(3, 1);
    context->clipToMask(CGRectMake(0, 0, 3, 1), image(3, 1, {kBlack, 0, 0x80000000}).get());
    context->setFillColor({1, 1, 1, 1});
    context->fillRect(CGRectMake(0, 0, 3, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kWhite, 0u, 0x80808080u));
}

TEST(BitmapContext, PaintsInsideOneMaskAndTheOther) {
    const auto context = colorContext(3, 1);
    context->clipToMask(CGRectMake(0, 0, 2, 1), image(2, 1, {kBlack, kBlack}).get());
    context->clipToMask(CGRectMake(1, 0, 2, 1), image(2, 1, {kBlack, kBlack}).get());
    context->fillRect(CGRectMake(0, 0, 3, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(0u, kBlack, 0u));
}

TEST(BitmapContext, PaintsNothingThroughANullMask) {
    const auto context = colorContext(1, 1);
    context->clipToMask(CGRectMake(0, 0, 1, 1), nullptr);
    context->fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(0u));
}

TEST(BitmapContext, FillsPartsOfPixelsInProportion) {
    const auto context = colorContext(2, 1);
    context->setFillColor({1, 1, 1, 1});
    context->fillRect(CGRectMake(0.5, 0, 1.5, 1));
    const Pixels pixels = pixelsOf(*context);
    EXPECT_NEAR(static_cast<int>(pixels[0] >> 24), 128, 2);
    EXPECT_EQ(pixels[1], kWhite);
}

TEST(BitmapContext, FillsHugeRectanglesAsFarAsItReaches) {
    for (const CGFloat size : {1e7, 1e12, 1e300, std::numeric_limits<CGFloat>::infinity()}) {
        const auto context = colorContext(2, 2);
        context->fillRect({{-size, -size}, {size + 1, size + 1}});
        const auto whole = colorContext(2, 2);
        whole->fillRect({{-0.5, -0.5}, {size, size}});
        EXPECT_THAT(pixelsOf(*whole), Each(kBlack)) << size;
    }
}

TEST(BitmapContext, DrawsNothingWhereNumbersAreNone) {
    const CGFloat nan = std::numeric_limits<CGFloat>::quiet_NaN();
    const auto context = colorContext(2, 2);
    context->fillRect(CGRectMake(nan, 0, 1, 1));
    context->fillRect(CGRectMake(0, 0, nan, nan));
    context->drawImage(CGRectMake(0, nan, 1, 1), image(1, 1, {kRed}).get());
    context->setFillColor({nan, nan, nan, nan});
    context->fillRect(CGRectMake(0, 0, 2, 2));
    EXPECT_THAT(pixelsOf(*context), Each(0u));
}

TEST(BitmapContext, ClipsToAPathOnce) {
    const auto context = colorContext(3, 1);
    context->beginPath();
    context->addRect(CGRectMake(0, 0, 1, 1));
    context->addRect(CGRectMake(2, 0, 1, 1));
    context->clip();
    context->clip();
    context->fillRect(CGRectMake(0, 0, 3, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kBlack, 0u, kBlack));
}

TEST(BitmapContext, TakesPathsOnlyAfterTheirBeginning) {
    const auto context = colorContext(1, 1);
    context->moveToPoint(0, 0);
    context->addRect(CGRectMake(0, 0, 1, 1));
    context->addArcToPoint(0, 1, 1, 1, 1);
    context->closePath();
    context->clip();
    context->fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(kBlack));
}

TEST(BitmapContext, PlacesAPathsPointsByTheTransformOfTheirTime) {
    const auto context = colorContext(2, 1);
    context->beginPath();
    context->saveGState();
    context->translateCTM(1, 0);
    context->addRect(CGRectMake(0, 0, 1, 1));
    context->restoreGState();
    context->clip();
    context->fillRect(CGRectMake(0, 0, 2, 1));
    EXPECT_THAT(pixelsOf(*context), ElementsAre(0u, kBlack));
}

TEST(CornerArc, CutsTheCornerAndNothingElse) {
    const auto context = colorContext(20, 20);
    context->beginPath();
    context->moveToPoint(0, 0);
    context->addArcToPoint(20, 0, 20, 20, 10);
    context->addArcToPoint(20, 20, 0, 20, 0); // no radius: the corner itself
    context->addArcToPoint(0, 20, 0, 40, 10); // a plain corner
    context->closePath();
    context->clip();
    context->fillRect(CGRectMake(0, 0, 20, 20));
    const Pixels pixels = pixelsOf(*context);
    EXPECT_EQ(pixels[19 * 20 + 19], 0u) << "the rounded corner, at the bottom right";
    EXPECT_EQ(pixels[19 * 20 + 9], kBlack);
    EXPECT_EQ(pixels[9 * 20 + 19], kBlack);
    EXPECT_EQ(pixels[19], kBlack) << "the top right";
    EXPECT_EQ(pixels[19 * 20], kBlack) << "the bottom left";
}

TEST(CornerArc, OfPointsInOneLineIsTheLine) {
    const auto context = colorContext(4, 4);
    context->beginPath();
    context->moveToPoint(0, 0);
    context->addArcToPoint(4, 0, 8, 0, 3);
    context->addArcToPoint(4, 4, 4, 4, 3);
    context->addArcToPoint(0, 4, 0, 8, 0);
    context->closePath();
    context->clip();
    context->fillRect(CGRectMake(0, 0, 4, 4));
    EXPECT_THAT(pixelsOf(*context), Each(kBlack));
}

TEST(BufferedContext, ClearsTheBufferAtOnceAndWritesAlphaFirst) {
    std::vector<std::uint8_t> bytes(8, 7);
    const auto context =
        CGContext::bitmapContextCreate(2, 1, BitmapFormat::AlphaFirstPremultiplied, bytes.data());
    EXPECT_THAT(bytes, Each(0));
    context->drawImage(CGRectMake(0, 0, 2, 1), image(2, 1, {0xff123456, 0x40302010}).get());
    context->flush();
    EXPECT_THAT(bytes, ElementsAre(0xff, 0x12, 0x34, 0x56, 0x40, 0x30, 0x20, 0x10));
}
