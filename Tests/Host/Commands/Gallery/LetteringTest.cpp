#include "Host/Commands/Gallery/Lettering.h"

#include "Host/Commands/Gallery/Exhibit.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace Lumivera;

namespace {

constexpr char32_t kLetters[] = U"abcdefghijklmnopqrstuvwxyz0123456789.·×→↔";
constexpr CGFloat kSize = 40;

/// Draws the letter in white with a margin as wide as the letter is high, vertically centred.
std::vector<std::uint32_t> pixelsOf(std::u32string_view text, NSUInteger &width) {
    const CGFloat side = Lettering::width(text, kSize) + 2 * kSize;
    GalleryCanvas canvas({side, 3 * kSize}, 1);
    Lettering::write(canvas, text, {kSize, 2 * kSize}, kSize, {1, 1, 1, 1});
    const auto picture = canvas.picture();
    width = picture->width();
    return {picture->pixels(), picture->pixels() + picture->width() * picture->height()};
}

TEST(LetteringTest, HasALetterForEverythingInTheLabels) {
    for (const Exhibit &exhibit : allExhibits()) {
        for (const char32_t letter : exhibit.title + exhibit.caption) {
            EXPECT_TRUE(Lettering::hasLetter(letter)) << static_cast<unsigned>(letter);
        }
    }
    EXPECT_FALSE(Lettering::hasLetter(U'ß'));
}

TEST(LetteringTest, DrawsEachLetterDifferently) {
    std::set<std::vector<std::uint32_t>> seen;
    for (const char32_t letter : std::u32string(kLetters)) {
        NSUInteger width = 0;
        EXPECT_TRUE(seen.insert(pixelsOf({&letter, 1}, width)).second)
            << static_cast<unsigned>(letter);
    }
}

TEST(LetteringTest, KeepsEachLetterWithinItsWidthAndHeight) {
    for (const char32_t letter : std::u32string(kLetters)) {
        NSUInteger width = 0;
        const auto pixels = pixelsOf({&letter, 1}, width);
        std::size_t inked = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            if (pixels[i] >> 24 == 0) {
                continue;
            }
            ++inked;
            const auto x = static_cast<double>(i % width), y = static_cast<double>(i / width);
            // Hooks and crossbars may be a little asymmetric.
            EXPECT_GT(x, kSize - 8) << static_cast<unsigned>(letter);
            EXPECT_LT(x, static_cast<double>(width) - kSize + 8);
            EXPECT_GT(y, kSize * 0.75);
            EXPECT_LT(y, kSize * 2.35);
        }
        EXPECT_GT(inked, 5u) << static_cast<unsigned>(letter);
    }
}

TEST(LetteringTest, GivesLettersThatItDoesNotKnowTheRoomOfASpace) {
    EXPECT_EQ(Lettering::width(U"aßa", kSize), Lettering::width(U"a a", kSize));
    NSUInteger width = 0;
    EXPECT_EQ(pixelsOf(U"aßa", width), pixelsOf(U"a a", width));
}

TEST(LetteringTest, MeasuresInProportionToTheSize) {
    EXPECT_EQ(Lettering::width(U"", kSize), 0);
    EXPECT_DOUBLE_EQ(Lettering::width(U"rock", 80), 2 * Lettering::width(U"rock", 40));
    EXPECT_GT(Lettering::width(U"rocks", kSize), Lettering::width(U"rock", kSize));
}

TEST(LetteringTest, DrawsNothingOnACanvasWithoutPixels) {
    GalleryCanvas canvas({0, 10}, 1);
    Lettering::write(canvas, U"rock", {0, 0}, kSize, {1, 1, 1, 1});
    EXPECT_FALSE(canvas.picture());
}

} // namespace
