#include "Platform/UIKit/UIColor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(UIColor, KeepsItsComponents) {
    const auto color = UIColor::colorWithRed_green_blue_alpha(0.25, 0.5, 0.75, 0.125);
    EXPECT_EQ(color->color(), (CGColor{0.25, 0.5, 0.75, 0.125}));
}

TEST(UIColor, ClampsComponentsBelowZeroAndAboveOne) {
    const auto color = UIColor::colorWithRed_green_blue_alpha(-0.5, 1.5, -7, 2);
    EXPECT_EQ(color->color(), (CGColor{0, 1, 0, 1}));
}

TEST(UIColor, ClampsComponentsThatAreNoNumbers) {
    constexpr auto kInfinity = std::numeric_limits<CGFloat>::infinity();
    const auto color = UIColor::colorWithRed_green_blue_alpha(
        std::numeric_limits<CGFloat>::quiet_NaN(), kInfinity, -kInfinity, 1);
    EXPECT_EQ(color->color(), (CGColor{0, 1, 0, 1}));
}

TEST(UIColor, IsClearWithoutColorAndAlpha) {
    EXPECT_EQ(UIColor::clearColor()->color(), (CGColor{0, 0, 0, 0}));
}
