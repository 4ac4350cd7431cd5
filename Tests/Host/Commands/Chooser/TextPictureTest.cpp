#include "Host/Commands/Chooser/TextPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Lumivera;

namespace {

const TextPicture::Style kStyle{15, {1, 1, 1, 1}};

/// The first and the last row or column that is not empty; -1 when all are.
struct Extent {
    int first = -1;
    int last = -1;
};

Extent extentOf(const CGImage &image, bool ofRows) {
    Extent extent;
    for (NSUInteger i = 0; i < image.width() * image.height(); ++i) {
        if (image.pixels()[i] != 0) {
            const int at = static_cast<int>(ofRows ? i / image.width() : i % image.width());
            extent.first = extent.first < 0 ? at : std::min(extent.first, at);
            extent.last = std::max(extent.last, at);
        }
    }
    return extent;
}

Retained<CGImage> drawn(const std::string &text, CGSize room, bool isCentred = false) {
    TextPicture::Style style = kStyle;
    style.isCentred = isCentred;
    return TextPicture::draw(text, style, room, 1);
}

TEST(TextPicture, IsAsLargeAsItsRoom) {
    const auto image = TextPicture::draw("Blossom", kStyle, {100, 30}, 2);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 200u);
    EXPECT_EQ(image->height(), 60u);
}

TEST(TextPicture, IsNothingWithoutTextOrRoom) {
    EXPECT_FALSE(drawn("", {100, 30}));
    EXPECT_FALSE(drawn("Blossom", {100, 10}));
    EXPECT_FALSE(drawn("Blossom", {0, 30}));
    EXPECT_FALSE(drawn("Blossom", {1e9, 30}));
}

TEST(TextPicture, WritesAsWideAsItMeasures) {
    const auto image = drawn("Blossom Lake", {300, 30});
    const CGFloat width = TextPicture::width("Blossom Lake", kStyle);
    EXPECT_NEAR(extentOf(*image, false).last, width, 3);
}

TEST(TextPicture, StaysInOneLineWhereThereIsOnlyOne) {
    const auto image = drawn("A wallpaper with a very long name", {100, 25});
    EXPECT_LT(extentOf(*image, false).last, 100);
    EXPECT_GT(extentOf(*image, false).last, 70);
}

TEST(TextPicture, TakesMoreLinesForMoreText) {
    const auto one = drawn("Petals", {120, 100});
    const auto more = drawn("Petals that fall over a lake at dusk", {120, 100});
    EXPECT_LT(extentOf(*one, true).last, 20);
    EXPECT_GT(extentOf(*more, true).last, 40);
}

TEST(TextPicture, BreaksAWordThatIsLongerThanALine) {
    const auto image = drawn(std::string(60, 'm'), {100, 200});
    EXPECT_LE(extentOf(*image, false).last, 99);
    EXPECT_GT(extentOf(*image, true).last, 100);
}

TEST(TextPicture, StandsInTheMiddleWhenItIsToldTo) {
    const auto image = drawn("Use", {200, 60}, true);
    const Extent columns = extentOf(*image, false);
    const Extent rows = extentOf(*image, true);
    EXPECT_NEAR(columns.first, 199 - columns.last, 4);
    EXPECT_NEAR(rows.first, 59 - rows.last, 8);
}

TEST(TextPicture, ShowsSomethingForBytesThatAreNoText) {
    for (const std::string text : {"\xff\xfe\x80", "\x01\x02\n", "\xe6\xa1", "a\xcc\x81\xf0"}) {
        const auto image = drawn(text, {100, 30});
        ASSERT_TRUE(image);
        EXPECT_GE(extentOf(*image, true).first, 0) << text.size();
    }
}

TEST(TextPicture, IsBoundedForEndlessText) {
    EXPECT_TRUE(drawn(std::string(10'000'000, 'x'), {300, 300}));
}

} // namespace
