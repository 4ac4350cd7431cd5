#include "Platform/UIKit/UIGraphics.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace {

class ImageContext : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_FALSE(UIGraphicsGetCurrentContext()) << "a context was left open";
    }
};

} // namespace

TEST_F(ImageContext, IsNoneAtFirst) {
    EXPECT_FALSE(UIGraphicsGetCurrentContext());
    EXPECT_FALSE(UIGraphicsGetImageFromCurrentImageContext());
    UIGraphicsEndImageContext();
}

TEST_F(ImageContext, GivesWhatWasPaintedAtScaleOne) {
    UIGraphicsBeginImageContext({2, 2});
    UIGraphicsGetCurrentContext()->fillRect(CGRectMake(0, 0, 1, 1));
    const auto image = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->scale(), 1);
    EXPECT_EQ(image->bitmap()->pixels()[0], 0xff000000) << "the origin is at the top left";
    EXPECT_EQ(image->bitmap()->pixels()[3], 0u);
}

TEST_F(ImageContext, RoundsItsSizeUp) {
    UIGraphicsBeginImageContext({1.25, 0.5});
    const auto image = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), CGSizeMake(2, 1));
}

TEST_F(ImageContext, StacksOnTheOneBefore) {
    UIGraphicsBeginImageContext({1, 1});
    CGContext *first = UIGraphicsGetCurrentContext();
    UIGraphicsBeginImageContext({1, 1});
    EXPECT_NE(UIGraphicsGetCurrentContext(), first);
    UIGraphicsEndImageContext();
    EXPECT_EQ(UIGraphicsGetCurrentContext(), first);
    UIGraphicsEndImageContext();
}

TEST_F(ImageContext, OfAnImpossibleSizeIsNoneUntilItsEnd) {
    const CGFloat nan = std::numeric_limits<CGFloat>::quiet_NaN();
    const CGFloat infinity = std::numeric_limits<CGFloat>::infinity();
    for (const CGFloat size : {CGFloat{0}, CGFloat{-1}, CGFloat{1e6}, nan, infinity}) {
        UIGraphicsBeginImageContext({4, 4});
        UIGraphicsBeginImageContext({size, 4});
        EXPECT_FALSE(UIGraphicsGetCurrentContext()) << size;
        EXPECT_FALSE(UIGraphicsGetImageFromCurrentImageContext()) << size;
        UIGraphicsEndImageContext();
        EXPECT_TRUE(UIGraphicsGetCurrentContext());
        UIGraphicsEndImageContext();
    }
}

TEST_F(ImageContext, IsTheCallingThreadsOwn) {
    UIGraphicsBeginImageContext({1, 1});
    CGContext *others = UIGraphicsGetCurrentContext();
    std::thread([&others] { others = UIGraphicsGetCurrentContext(); }).join();
    EXPECT_FALSE(others);
    UIGraphicsEndImageContext();
}
