#include "Platform/UIKit/UIScreen.h"

#include "Tests/Platform/UIKit/MainScreenScope.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

Retained<UIScreen> screenOfScale(CGFloat scale) {
    return makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), scale);
}

} // namespace

TEST(UIScreen, IsMissingUntilTheHostSetsOne) { EXPECT_FALSE(UIScreen::mainScreen()); }

TEST(UIScreen, IsTheOneThatTheHostSet) {
    const MainScreenScope scope(2);
    const auto screen = screenOfScale(3);
    UIScreen::setMainScreen(screen);
    EXPECT_EQ(UIScreen::mainScreen(), screen);
    UIScreen::setMainScreen(nullptr);
    EXPECT_FALSE(UIScreen::mainScreen());
}

TEST(UIScreen, HoldsTheMainScreenAndLetsGoOfTheOneBefore) {
    const MainScreenScope scope(0);
    const auto screen = screenOfScale(1);
    UIScreen::setMainScreen(screen);
    EXPECT_EQ(screen->retainCount(), 2u);
    UIScreen::setMainScreen(screenOfScale(1));
    EXPECT_EQ(screen->retainCount(), 1u);
}

TEST(UIScreen, KeepsBoundsAndScale) {
    const auto screen = makeRetained<UIScreen>(CGRectMake(1, 2, 320, 480), 1.5);
    EXPECT_EQ(screen->bounds(), CGRectMake(1, 2, 320, 480));
    EXPECT_EQ(screen->scale(), 1.5);
}

TEST(UIScreen, TakesNewBoundsAndANewScale) {
    const auto screen = screenOfScale(1);
    screen->setBounds(CGRectMake(0, 0, 1280, 800));
    screen->setScale(3);
    EXPECT_EQ(screen->bounds(), CGRectMake(0, 0, 1280, 800));
    EXPECT_EQ(screen->scale(), 3);
}

TEST(UIScreen, TakesAScaleThatIsNotAboveZeroForOne) {
    using Limits = std::numeric_limits<CGFloat>;
    for (const CGFloat scale : {CGFloat{0}, CGFloat{-2}, Limits::quiet_NaN(), Limits::infinity()}) {
        EXPECT_EQ(screenOfScale(scale)->scale(), 1) << scale;
        const auto screen = screenOfScale(2);
        screen->setScale(scale);
        EXPECT_EQ(screen->scale(), 1) << scale;
    }
}
