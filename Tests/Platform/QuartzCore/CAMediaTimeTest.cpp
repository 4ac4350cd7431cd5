#include "Platform/QuartzCore/CAAnimation.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

namespace {

class CAMediaTimeTest : public SimulatedTimeTest {};

} // namespace

TEST_F(CAMediaTimeTest, StartsAtAThousandSimulatedSeconds) {
    EXPECT_EQ(CACurrentMediaTime(), 1000.0);
}

TEST_F(CAMediaTimeTest, CountsTheClocksSeconds) {
    runForSeconds(0.025);
    EXPECT_EQ(CACurrentMediaTime(), 1000.025);
    runForSeconds(86400);
    EXPECT_EQ(CACurrentMediaTime(), 87400.025);
}

TEST(CAMediaTime, NeverRunsBackwardsOnTheSystemClock) {
    const NSTimeInterval before = CACurrentMediaTime();
    EXPECT_GT(before, 0);
    EXPECT_GE(CACurrentMediaTime(), before);
}
