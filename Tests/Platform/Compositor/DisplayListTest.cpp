#include "Platform/Compositor/DisplayList.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr DeviceRect kDevice{0, 0, 100, 100};

std::vector<DisplayItem> itemsOf(const CALayer &root) {
    DisplayList list;
    list.build(root, kDevice, 1, 0);
    return list.items();
}

/// A root with one faded layer in it.
struct FadedGroup {
    Retained<CALayer> root = makeLayer(0, 0, 100, 100);
    Retained<CALayer> group = makeLayer(0, 0, 100, 100);

    FadedGroup() {
        group->setOpacity(0.5F);
        root->addSublayer(group.get());
    }

    void add(CGFloat x, CGFloat y) { group->addSublayer(makeFilled(x, y, 10, 10, kRed).get()); }
};

} // namespace

TEST(DisplayList, LeavesOutWhatCannotBeSeen) {
    const auto root = makeLayer(0, 0, 100, 100);
    const auto hidden = makeFilled(0, 0, 10, 10, kRed);
    hidden->setHidden(true);
    const auto clear = makeFilled(0, 0, 10, 10, kRed);
    clear->setOpacity(0);
    const auto outside = makeFilled(100, 0, 10, 10, kRed);
    for (const auto &layer : {hidden, clear, outside, makeLayer(0, 0, 10, 10)}) {
        root->addSublayer(layer.get());
    }
    EXPECT_TRUE(itemsOf(*root).empty());
}

TEST(DisplayList, BoundsAnItemByThePixelsItTouches) {
    const auto root = makeLayer(0, 0, 100, 100);
    root->addSublayer(makeFilled(10, 20, 5, 6, kRed).get());
    root->addSublayer(makeFilled(10.5, -4, 5, 6, kRed).get());
    const std::vector<DisplayItem> items = itemsOf(*root);
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].bounds, (DeviceRect{10, 20, 15, 26}));
    EXPECT_EQ(items[1].bounds, (DeviceRect{10, 0, 16, 2}));
}

TEST(DisplayList, FadesMembersThatOverlapNoOtherByThemselves) {
    FadedGroup faded;
    faded.add(0, 0);
    faded.add(20, 0);
    const std::vector<DisplayItem> items = itemsOf(*faded.root);
    ASSERT_EQ(items.size(), 2U);
    for (const DisplayItem &item : items) {
        EXPECT_EQ(item.kind, DisplayItem::Kind::Fill);
        EXPECT_EQ(item.weight, 32768U);
    }
}

TEST(DisplayList, GroupsMembersThatOverlapAroundThemAlone) {
    FadedGroup faded;
    faded.add(0, 0);
    faded.add(50, 50);
    faded.add(5, 5);
    const std::vector<DisplayItem> items = itemsOf(*faded.root);
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[0].kind, DisplayItem::Kind::Group);
    EXPECT_EQ(items[0].length, 3U);
    EXPECT_EQ(items[0].weight, 32768U);
    EXPECT_EQ(items[0].bounds, (DeviceRect{0, 0, 15, 15}));
    EXPECT_EQ(items[1].bounds.left, 0);
    EXPECT_EQ(items[2].bounds.left, 5);
    EXPECT_EQ(items[3].weight, 32768U);
}

TEST(DisplayList, NeedsNoMaskForAClipOnPixelBoundaries) {
    const auto root = makeLayer(0, 0, 100, 100);
    const auto clip = makeLayer(10, 10, 20, 20);
    clip->setMasksToBounds(true);
    clip->addSublayer(makeFilled(-5, 5, 50, 5, kRed).get());
    root->addSublayer(clip.get());
    const std::vector<DisplayItem> items = itemsOf(*root);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].bounds, (DeviceRect{10, 15, 30, 20}));
}

TEST(DisplayList, MasksOnlyWhatATurnedClipCutsOff) {
    const auto root = makeLayer(0, 0, 100, 100);
    const auto clip = makeLayer(30, 30, 40, 40);
    clip->setMasksToBounds(true);
    clip->setTransform(CATransform3DMakeRotation(0.5, 0, 0, 1));
    clip->addSublayer(makeFilled(10, 10, 20, 20, kRed).get());
    root->addSublayer(clip.get());
    EXPECT_EQ(itemsOf(*root).size(), 1U);
    clip->addSublayer(makeFilled(30, 30, 20, 20, kRed).get());
    ASSERT_EQ(itemsOf(*root).size(), 3U);
    EXPECT_EQ(itemsOf(*root)[0].kind, DisplayItem::Kind::Mask);
}
