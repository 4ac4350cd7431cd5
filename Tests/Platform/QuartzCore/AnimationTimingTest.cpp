#include "Platform/QuartzCore/CAAnimation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

AnimationTiming once(double duration) { return {duration, 0, false}; }

std::optional<double> nothing() { return std::nullopt; }

} // namespace

TEST(AnimationTiming, LastsAQuarterOfASecondWhenNothingIsSaid) {
    EXPECT_EQ(AnimationTiming::kDefaultDuration, 0.25);
    EXPECT_EQ(AnimationTiming().activeDuration(), 0.25);
    EXPECT_EQ(AnimationTiming().progressAt(0.125), 0.5);
}

TEST(AnimationTiming, TakesADurationThatMakesNoSenseForNone) {
    for (const double duration : {0.0, -0.0, -1.0, -kInfinity, kNaN}) {
        EXPECT_EQ(once(duration).effectiveDuration(), 0.25) << duration;
        EXPECT_EQ(once(duration).activeDuration(), 0.25) << duration;
    }
}

TEST(AnimationTiming, TakesACountThatMakesNoSenseForOne) {
    for (const double count : {0.0, -0.0, -3.0, -kInfinity, kNaN}) {
        const AnimationTiming timing{2, static_cast<float>(count), false};
        EXPECT_EQ(timing.activeDuration(), 2) << count;
        EXPECT_EQ(timing.progressAt(1), 0.5) << count;
        EXPECT_EQ(timing.progressAt(2), nothing()) << count;
    }
}

TEST(AnimationTiming, ShowsFromItsBeginningUntilRightBeforeItsEnd) {
    EXPECT_EQ(once(1).progressAt(-1e-9), nothing());
    EXPECT_EQ(once(1).progressAt(0), 0);
    EXPECT_EQ(once(1).progressAt(0.25), 0.25);
    EXPECT_EQ(once(1).progressAt(std::nextafter(1, 0)), std::nextafter(1, 0));
    EXPECT_EQ(once(1).progressAt(1), nothing());
    EXPECT_EQ(once(1).progressAt(kNaN), nothing());
    EXPECT_EQ(once(1).progressAt(kInfinity), nothing());
}

TEST(AnimationTiming, RepeatsAndMayEndInTheMiddleOfAPass) {
    const AnimationTiming timing{2, 2.5F, false};
    EXPECT_EQ(timing.activeDuration(), 5);
    EXPECT_EQ(timing.progressAt(1.5), 0.75);
    EXPECT_EQ(timing.progressAt(2), 0);
    EXPECT_EQ(timing.progressAt(3.5), 0.75);
    EXPECT_EQ(timing.progressAt(4.5), 0.25);
    EXPECT_EQ(timing.progressAt(5), nothing());
}

TEST(AnimationTiming, MayEndBeforeTheFirstPassDoes) {
    const AnimationTiming timing{2, 0.25F, true};
    EXPECT_EQ(timing.activeDuration(), 1);
    EXPECT_EQ(timing.progressAt(0.5), 0.25);
    EXPECT_EQ(timing.progressAt(1), nothing());
}

TEST(AnimationTiming, GoesBackInAsMuchTimeAsItWent) {
    const AnimationTiming timing{1, 0, true};
    EXPECT_EQ(timing.activeDuration(), 2);
    EXPECT_EQ(timing.progressAt(0.25), 0.25);
    EXPECT_EQ(timing.progressAt(1), 1);
    EXPECT_EQ(timing.progressAt(1.25), 0.75);
    EXPECT_EQ(timing.progressAt(1.75), 0.25);
    EXPECT_EQ(timing.progressAt(2), nothing());
}

TEST(AnimationTiming, CountsThereAndBackAsOnePass) {
    const AnimationTiming timing{1, 1.75F, true};
    EXPECT_EQ(timing.activeDuration(), 3.5);
    EXPECT_EQ(timing.progressAt(2), 0);
    EXPECT_EQ(timing.progressAt(2.5), 0.5);
    EXPECT_EQ(timing.progressAt(3.25), 0.75);
    EXPECT_EQ(timing.progressAt(3.5), nothing());
}

TEST(AnimationTiming, MayGoOnForEver) {
    const AnimationTiming timing{0.5, std::numeric_limits<float>::infinity(), true};
    EXPECT_EQ(timing.activeDuration(), kInfinity);
    EXPECT_EQ(timing.progressAt(1e9), 0);
    EXPECT_EQ(timing.progressAt(1e9 + 0.125), 0.25);
    EXPECT_EQ(timing.progressAt(1e9 + 0.875), 0.25);
}

TEST(AnimationTiming, NeverGetsAnywhereInATimeWithoutEnd) {
    for (const bool autoreverses : {false, true}) {
        const AnimationTiming timing{kInfinity, 0.5F, autoreverses};
        EXPECT_EQ(timing.activeDuration(), kInfinity);
        EXPECT_EQ(timing.progressAt(1e9), 0);
    }
}

/// Durations in eighths and times in 64ths of a second are exact in doubles.
TEST(AnimationTiming, AgreesWithCountingInWholeSteps) {
    std::mt19937 random(1);
    for (int i = 0; i < 100'000; ++i) {
        const long way = 1 + static_cast<long>(random() % 64);
        const long quarters = 1 + static_cast<long>(random() % 40);
        const bool autoreverses = random() % 2 == 0;
        const long pass = way * 8 * (autoreverses ? 2 : 1);
        const long elapsed = static_cast<long>(random() % 8192) - 16;
        const AnimationTiming timing{static_cast<double>(way) / 8, static_cast<float>(quarters) / 4,
                                     autoreverses};
        const auto progress = timing.progressAt(static_cast<double>(elapsed) / 64);
        ASSERT_EQ(progress.has_value(), elapsed >= 0 && elapsed * 4 < pass * quarters);
        if (progress) {
            const long in = elapsed % pass;
            const long steps = in > way * 8 ? pass - in : in;
            ASSERT_NEAR(*progress, static_cast<double>(steps) / static_cast<double>(way * 8),
                        1e-15);
        }
    }
}
