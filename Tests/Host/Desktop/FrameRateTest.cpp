#include "Host/Desktop/OutputShow.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

constexpr Clock::Nanoseconds kMillisecond = 1'000'000;

TEST(FrameRate, IsNoneBeforeTheSecondFrame) {
    FrameRate rate;
    EXPECT_EQ(rate.perSecond(0), 0);
    rate.countFrame(5 * kMillisecond);
    EXPECT_EQ(rate.perSecond(5 * kMillisecond), 0);
    EXPECT_EQ(rate.frames(), 1u);
}

TEST(FrameRate, IsThatOfTheLastFrames) {
    FrameRate rate;
    Clock::Nanoseconds now = 0;
    for (int i = 0; i < 100; ++i) {
        rate.countFrame(now += 100 * kMillisecond);
    }
    EXPECT_DOUBLE_EQ(rate.perSecond(now), 10);
    for (int i = 0; i < 64; ++i) {
        rate.countFrame(now += 25 * kMillisecond);
    }
    EXPECT_DOUBLE_EQ(rate.perSecond(now), 40);
    EXPECT_EQ(rate.frames(), 164u);
}

TEST(FrameRate, OfTwoFramesIsTheTimeBetweenThem) {
    FrameRate rate;
    rate.countFrame(0);
    rate.countFrame(50 * kMillisecond);
    EXPECT_DOUBLE_EQ(rate.perSecond(60 * kMillisecond), 20);
}

TEST(FrameRate, EndsASecondAfterTheLastFrame) {
    FrameRate rate;
    rate.countFrame(0);
    rate.countFrame(500 * kMillisecond);
    EXPECT_DOUBLE_EQ(rate.perSecond(1500 * kMillisecond), 2);
    EXPECT_EQ(rate.perSecond(1501 * kMillisecond), 0);
}

} // namespace
