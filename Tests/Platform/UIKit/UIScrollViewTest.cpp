#include "Platform/UIKit/UIScrollView.h"

#include <gtest/gtest.h>

TEST(UIScrollView, IsAViewWithAllSwitchesOnAtFirst) {
    const auto view = UIScrollView::initWithFrame({{1, 2}, {3, 4}});
    EXPECT_EQ(view->frame(), (CGRect{{1, 2}, {3, 4}}));
    EXPECT_TRUE(view->isScrollEnabled());
    EXPECT_TRUE(view->bounces());
    EXPECT_TRUE(view->showsHorizontalScrollIndicator());
    EXPECT_TRUE(view->showsVerticalScrollIndicator());
}

TEST(UIScrollView, KeepsEachSwitchByItself) {
    const auto view = UIScrollView::initWithFrame({});
    view->setScrollEnabled(false);
    EXPECT_FALSE(view->isScrollEnabled());
    EXPECT_TRUE(view->bounces());
    view->setBounces(false);
    EXPECT_FALSE(view->bounces());
    EXPECT_TRUE(view->showsHorizontalScrollIndicator());
    view->setShowsHorizontalScrollIndicator(false);
    EXPECT_FALSE(view->showsHorizontalScrollIndicator());
    EXPECT_TRUE(view->showsVerticalScrollIndicator());
    view->setShowsVerticalScrollIndicator(false);
    EXPECT_FALSE(view->showsVerticalScrollIndicator());
}
