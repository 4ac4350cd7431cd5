#include "Host/Commands/Chooser/ChooserLayout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Lumivera;

namespace {

CGFloat right(const CGRect &rect) { return rect.origin.x + rect.size.width; }
CGFloat bottom(const CGRect &rect) { return rect.origin.y + rect.size.height; }

bool isEmpty(const CGRect &rect) { return rect.size.width <= 0 || rect.size.height <= 0; }

bool meet(const CGRect &first, const CGRect &second) {
    return !isEmpty(first) && !isEmpty(second) && first.origin.x < right(second) &&
           second.origin.x < right(first) && first.origin.y < bottom(second) &&
           second.origin.y < bottom(first);
}

std::vector<CGRect> partsOf(const ChooserLayout &layout) {
    return {layout.preview(), layout.title(), layout.details(), layout.button(), layout.shelf()};
}

TEST(ChooserLayout, PutsTheCardsBesideThePreviewInAWideWindow) {
    const ChooserLayout layout({{1040, 660}, 1}, 30);
    EXPECT_LT(right(layout.shelf()), layout.preview().origin.x);
    EXPECT_GT(layout.preview().size.width, 500);
    EXPECT_GT(layout.title().origin.y, bottom(layout.preview()) - 1);
    EXPECT_EQ(layout.columns(), 2u);
    EXPECT_FALSE(layout.isRow());
}

TEST(ChooserLayout, PutsTheCardsBelowThePreviewOnAPhone) {
    const ChooserLayout layout({{400, 860}, 2}, 30);
    EXPECT_GT(layout.shelf().origin.y, bottom(layout.title()));
    EXPECT_GT(layout.shelf().origin.y, bottom(layout.preview()));
    EXPECT_FALSE(layout.isRow());
    EXPECT_GE(layout.columns(), 2u);
}

TEST(ChooserLayout, HasOneRowOfCardsOnATinyScreen) {
    const ChooserLayout layout({{320, 480}, 1}, 30);
    EXPECT_TRUE(layout.isRow());
    EXPECT_EQ(layout.card(29).origin.y, layout.card(0).origin.y);
    EXPECT_GT(layout.preview().size.height, 200);
    EXPECT_GT(layout.card(0).size.width, 90);
    EXPECT_LT(right(layout.card(1)), 320);
}

TEST(ChooserLayout, HasMoreColumnsOnAHugeScreen) {
    EXPECT_GE(ChooserLayout({{3840, 2160}, 1}, 100).columns(), 2u);
    EXPECT_GT(ChooserLayout({{3840, 2160}, 1}, 100).preview().size.width, 2000);
}

TEST(ChooserLayout, KeepsItsPartsApartAndInsideAtEverySize) {
    for (const CGFloat width : {1.0, 10.0, 90.0, 320.0, 500.0, 720.0, 1300.0, 3840.0}) {
        for (const CGFloat height : {1.0, 10.0, 90.0, 320.0, 500.0, 720.0, 1300.0, 3840.0}) {
            const ChooserLayout layout({{width, height}, 1}, 9);
            const auto parts = partsOf(layout);
            for (std::size_t i = 0; i < parts.size(); ++i) {
                SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + ", " +
                             std::to_string(i));
                EXPECT_GE(parts[i].size.width, 0);
                EXPECT_GE(parts[i].size.height, 0);
                EXPECT_TRUE(isEmpty(parts[i]) ||
                            (parts[i].origin.x >= 0 && right(parts[i]) <= width + 1 &&
                             bottom(parts[i]) <= height + 1));
                for (std::size_t other = 0; other < i && width > 80 && height > 80; ++other) {
                    EXPECT_FALSE(meet(parts[i], parts[other])) << other;
                }
            }
        }
    }
}

TEST(ChooserLayout, PutsEverythingOnWholePixels) {
    const ChooserLayout layout({{777, 555}, 1.5}, 9);
    auto parts = partsOf(layout);
    parts.push_back(layout.card(4));
    parts.push_back(layout.cardPicture(7));
    for (const CGRect &part : parts) {
        for (const CGFloat length :
             {part.origin.x, part.origin.y, part.size.width, part.size.height}) {
            EXPECT_NEAR(length * 1.5, std::round(length * 1.5), 1e-9);
        }
    }
}

TEST(ChooserLayout, FindsTheCardThatIsSeenAtAPoint) {
    for (const CGSize size : {CGSize{1040, 660}, CGSize{320, 480}}) {
        const ChooserLayout layout({size, 1}, 20);
        const CGFloat scroll = layout.scrollShowing(11, 0);
        const CGRect card = layout.card(11);
        const CGPoint shelf = layout.shelf().origin;
        const CGPoint middle{shelf.x + CGRectGetMidX(card) - (layout.isRow() ? scroll : 0),
                             shelf.y + CGRectGetMidY(card) - (layout.isRow() ? 0 : scroll)};
        EXPECT_EQ(layout.cardAt(middle, scroll), 11u);
        EXPECT_EQ(layout.cardAt({CGRectGetMidX(layout.preview()), 40}, scroll), std::nullopt);
    }
}

TEST(ChooserLayout, ScrollsOnlyAsFarAsACardNeeds) {
    const ChooserLayout layout({{1040, 660}, 1}, 40);
    EXPECT_EQ(layout.scrollShowing(0, 0), 0);
    EXPECT_EQ(layout.scrollShowing(2, 0), 0);
    EXPECT_GT(layout.longestScroll(), 1000);
    EXPECT_NEAR(layout.scrollShowing(39, 0), layout.longestScroll(), 1);
    const CGFloat middle = layout.scrollShowing(20, 0);
    EXPECT_EQ(layout.scrollShowing(20, middle), middle);
    EXPECT_LT(layout.scrollShowing(0, middle), 1);
}

TEST(ChooserLayout, DoesNotScrollWhatFits) {
    EXPECT_EQ(ChooserLayout({{1040, 660}, 1}, 2).longestScroll(), 0);
    EXPECT_EQ(ChooserLayout({{1040, 660}, 1}, 0).longestScroll(), 0);
}

TEST(ChooserLayout, LeadsFromCardToCardAsKeysSay) {
    using enum WindowKey;
    const ChooserLayout layout({{1040, 660}, 1}, 21);
    ASSERT_EQ(layout.columns(), 2u);
    EXPECT_EQ(layout.neighbour(0, Right), 1u);
    EXPECT_EQ(layout.neighbour(0, Left), 0u);
    EXPECT_EQ(layout.neighbour(1, Down), 3u);
    EXPECT_EQ(layout.neighbour(1, Up), 1u);
    EXPECT_EQ(layout.neighbour(19, Down), 19u);
    EXPECT_EQ(layout.neighbour(20, Right), 20u);
    EXPECT_EQ(layout.neighbour(7, First), 0u);
    EXPECT_EQ(layout.neighbour(7, Last), 20u);
    EXPECT_EQ(layout.neighbour(1, PageDown), 9u);
    EXPECT_EQ(layout.neighbour(19, PageDown), 19u);
    EXPECT_EQ(layout.neighbour(9, PageUp), 1u);
    EXPECT_EQ(layout.neighbour(1, PageUp), 1u);
    EXPECT_EQ(layout.neighbour(7, Pause), 7u);
}

TEST(ChooserLayout, LeadsAlongTheRowWithEveryArrow) {
    const ChooserLayout layout({{320, 480}, 1}, 5);
    EXPECT_EQ(layout.neighbour(2, WindowKey::Down), 3u);
    EXPECT_EQ(layout.neighbour(2, WindowKey::Up), 1u);
    EXPECT_EQ(layout.neighbour(2, WindowKey::Right), 3u);
}

TEST(ChooserLayout, LeavesAllRoomToThePreviewWithoutCards) {
    const ChooserLayout layout({{700, 500}, 1}, 0);
    EXPECT_GT(layout.preview().size.width, 600);
    EXPECT_GT(layout.preview().size.height, 400);
    EXPECT_TRUE(isEmpty(layout.button()));
    EXPECT_TRUE(isEmpty(layout.shelf()));
}

TEST(ChooserLayout, StaysWhereItIsWithoutCards) {
    const ChooserLayout layout({{320, 480}, 1}, 0);
    for (const WindowKey key : {WindowKey::Right, WindowKey::PageDown, WindowKey::Last}) {
        EXPECT_EQ(layout.neighbour(0, key), 0u);
    }
}

} // namespace
