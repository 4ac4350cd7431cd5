#include "Platform/CoreGraphics/CGGeometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr CGFloat kInfinity = std::numeric_limits<CGFloat>::infinity();

struct Containment {
    CGRect rect;
    CGPoint point;
    bool contained;
};

class CGRectContainment : public ::testing::TestWithParam<Containment> {};

} // namespace

TEST_P(CGRectContainment, IsAsTheEdgesSay) {
    EXPECT_EQ(CGRectContainsPoint(GetParam().rect, GetParam().point), GetParam().contained);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CGRectContainment,
    ::testing::Values(Containment{{{10, 20}, {30, 40}}, {10, 20}, true},
                      Containment{{{10, 20}, {30, 40}}, {39.999, 59.999}, true},
                      Containment{{{10, 20}, {30, 40}}, {40, 30}, false},
                      Containment{{{10, 20}, {30, 40}}, {20, 60}, false},
                      Containment{{{10, 20}, {30, 40}}, {9.999, 30}, false},
                      Containment{{{10, 20}, {30, 40}}, {20, 19.999}, false},
                      Containment{{{10, 20}, {0, 0}}, {10, 20}, false},
                      Containment{{{10, 20}, {0, 40}}, {10, 30}, false},
                      Containment{{{kInfinity, kInfinity}, {0, 0}}, {0, 0}, false},
                      Containment{{{kInfinity, kInfinity}, {0, 0}}, {kInfinity, kInfinity}, false},
                      Containment{{{0, 0}, {kInfinity, kInfinity}}, {1e300, 5}, true},
                      Containment{{{0, 0}, {10, 10}}, {std::nan(""), 5}, false},
                      Containment{{{std::nan(""), 0}, {10, 10}}, {5, 5}, false}));

TEST(CGGeometry, MakesWhatItIsTold) {
    constexpr CGRect rect = CGRectMake(1, 2, 3, 4);
    EXPECT_EQ(rect.origin, CGPointMake(1, 2));
    EXPECT_EQ(rect.size, CGSizeMake(3, 4));
    EXPECT_EQ(CGRect(), CGRectMake(0, 0, 0, 0));
}

TEST(CGGeometry, KnowsTheMiddle) {
    constexpr CGRect rect = CGRectMake(10, 20, 5, 8);
    EXPECT_EQ(CGRectGetMidX(rect), 12.5);
    EXPECT_EQ(CGRectGetMidY(rect), 24);
}

TEST(CGGeometry, ComparesEveryNumber) {
    const CGRect rect{{1, 2}, {3, 4}};
    EXPECT_EQ(rect, (CGRect{{1, 2}, {3, 4}}));
    EXPECT_NE(rect, (CGRect{{0, 2}, {3, 4}}));
    EXPECT_NE(rect, (CGRect{{1, 0}, {3, 4}}));
    EXPECT_NE(rect, (CGRect{{1, 2}, {0, 4}}));
    EXPECT_NE(rect, (CGRect{{1, 2}, {3, 0}}));
}
