#include "Animation/Common/LWUICommonDefine.h"

#include "Animation/Common/CppVector2D.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace {

TEST(CppVector2D, IsZeroAtFirst) {
    const CppVector2D vector;
    EXPECT_EQ(vector.x, 0.0f);
    EXPECT_EQ(vector.y, 0.0f);
}

TEST(CppVector2D, IsTwoSinglePrecisionComponentsXFirst) {
    static_assert(std::is_same_v<decltype(CppVector2D::x), float>);
    static_assert(std::is_same_v<decltype(CppVector2D::y), float>);
    EXPECT_EQ(sizeof(CppVector2D), 8u);
    const CppVector2D vector{1, 2};
    EXPECT_EQ(reinterpret_cast<const float *>(&vector)[0], 1.0f);
}

TEST(DistanceForTwoPoints, OfThreeAndFourIsFive) {
    EXPECT_EQ(distanceForTwoPoints({0, 0}, {3, 4}), 5.0);
    EXPECT_EQ(distanceForTwoPoints({3, 4}, {0, 0}), 5.0);
}

TEST(DistanceForTwoPoints, CarriesSinglePrecisionOnly) {
    const CGFloat distance = distanceForTwoPoints({0, 0}, {1, 1});
    EXPECT_EQ(distance, CGFloat{std::sqrt(2.0f)});
    EXPECT_NE(distance, std::sqrt(2.0));
}

TEST(DistanceForTwoPoints, NarrowsTheSumOfSquaresAndNotTheDifferences) {
    // In single precision throughout the difference of these two would be 0.
    EXPECT_EQ(distanceForTwoPoints({16777217, 0}, {16777216, 0}), 1.0);
    const CGFloat squares = 0.1 * 0.1 + 0.7 * 0.7;
    EXPECT_EQ(distanceForTwoPoints({0.1, 0}, {0, 0.7}),
              CGFloat{std::sqrt(static_cast<float>(squares))});
}

TEST(WholeNumber, TruncatesTowardZero) {
    EXPECT_EQ(wholeNumber(320.99), 320u);
    EXPECT_EQ(wholeNumber(1), 1u);
    EXPECT_EQ(wholeNumber(0.999), 0u);
}

TEST(WholeNumber, IsZeroForWhatIsBelowOneOrNoNumber) {
    EXPECT_EQ(wholeNumber(-5), 0u);
    EXPECT_EQ(wholeNumber(std::nan("")), 0u);
}

TEST(WholeNumber, StaysWithinThirtyTwoBits) {
    EXPECT_EQ(wholeNumber(1e30), 2147483647u);
    EXPECT_EQ(wholeNumber(std::numeric_limits<CGFloat>::infinity()), 2147483647u);
}

} // namespace
