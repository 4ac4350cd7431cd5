#include "Platform/Foundation/Clock.h"

#include "Platform/Foundation/SimulatedClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

using Nanoseconds = Clock::Nanoseconds;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr Nanoseconds kMinTime = std::numeric_limits<Nanoseconds>::min();

struct Conversion {
    double seconds;
    Nanoseconds nanoseconds;
};

class ClockConversion : public ::testing::TestWithParam<Conversion> {};

} // namespace

TEST_P(ClockConversion, RoundsAndClamps) {
    EXPECT_EQ(Clock::nanoseconds(GetParam().seconds), GetParam().nanoseconds);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ClockConversion,
    ::testing::Values(Conversion{0, 0}, Conversion{0.025, 25'000'000}, Conversion{0.1, 100'000'000},
                      Conversion{1e-9, 1}, Conversion{0.4e-9, 0}, Conversion{0.6e-9, 1},
                      Conversion{-0.6e-9, -1}, Conversion{-1.5, -1'500'000'000},
                      Conversion{9.3e9, Clock::kNever}, Conversion{-9.3e9, kMinTime},
                      Conversion{kInfinity, Clock::kNever}, Conversion{-kInfinity, kMinTime},
                      Conversion{std::nan(""), 0}, Conversion{1e308, Clock::kNever}));

TEST(Clock, DeadlineIsNowPlusTheDelay) {
    SimulatedClock clock;
    EXPECT_EQ(clock.deadlineAfter(0.5), SimulatedClock::kStart + 500'000'000);
    EXPECT_EQ(clock.deadlineAfter(0), SimulatedClock::kStart);
}

TEST(Clock, DeadlineOfANegativeDelayOrOfNoNumberIsNow) {
    SimulatedClock clock;
    EXPECT_EQ(clock.deadlineAfter(-3), SimulatedClock::kStart);
    EXPECT_EQ(clock.deadlineAfter(std::nan("")), SimulatedClock::kStart);
}

TEST(Clock, DeadlineBeyondTheRangeNeverComes) {
    SimulatedClock clock;
    EXPECT_EQ(clock.deadlineAfter(kInfinity), Clock::kNever);
    EXPECT_EQ(clock.deadlineAfter(9.223372036e9), Clock::kNever);
    EXPECT_EQ(clock.deadlineAfter(9.2e9), SimulatedClock::kStart + 9'200'000'000'000'000'000);
}

TEST(Clock, InstalledClockIsInForceUntilItIsTakenBack) {
    Clock &system = Clock::current();
    SimulatedClock clock;
    Clock::setCurrent(&clock);
    EXPECT_EQ(&Clock::current(), &clock);
    Clock::setCurrent(nullptr);
    EXPECT_EQ(&Clock::current(), &system);
}

TEST(Clock, SystemClockNeverRunsBackwards) {
    Nanoseconds last = Clock::current().now();
    for (int i = 0; i < 1000; ++i) {
        const Nanoseconds now = Clock::current().now();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(Clock, WaitOnTheSystemClockEndsAtItsDeadline) {
    std::mutex mutex;
    ClockCondition never;
    const Nanoseconds deadline = Clock::current().now() + 1'000'000;
    std::unique_lock lock(mutex);
    while (Clock::current().now() < deadline) {
        never.wait(lock, deadline);
    }
    EXPECT_TRUE(lock.owns_lock());
}

TEST(Clock, WaitOnTheSystemClockEndsWithANotification) {
    std::mutex mutex;
    ClockCondition changed;
    bool isSet = false;
    std::thread setter([&] {
        const std::lock_guard lock(mutex);
        isSet = true;
        changed.notifyAll();
    });
    {
        std::unique_lock lock(mutex);
        while (!isSet) {
            changed.wait(lock);
        }
        EXPECT_TRUE(lock.owns_lock());
    }
    setter.join();
}

TEST(Clock, WaitOnTheSystemClockWithAPastDeadlineReturns) {
    std::mutex mutex;
    ClockCondition never;
    std::unique_lock lock(mutex);
    never.wait(lock, Clock::current().now() - 1);
    never.wait(lock, 0);
    EXPECT_TRUE(lock.owns_lock());
}
