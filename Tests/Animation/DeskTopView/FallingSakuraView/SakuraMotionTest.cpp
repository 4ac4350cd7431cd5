#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Animation/Support/SakuraProbe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

/// A petal at (100, 200) without drift, sway, rotation or push, unless a test sets one.
class SakuraMotion : public testing::Test {
  protected:
    SakuraMotion() {
        _petal->setCenter({100, 200});
        probe().originSpeed() = {};
        probe().angleStep() = 0;
        probe().isXOffset() = false;
    }

    Sakura &petal() { return *_petal; }
    SakuraProbe &probe() { return _probe; }

    void fall(int steps) {
        for (int step = 0; step < steps; ++step) {
            _petal->falling();
        }
    }

  private:
    Retained<Sakura> _petal = Sakura::initWithImage_scale_speed(pictureOfSize(20, 30), 1, 1);
    SakuraProbe _probe{*_petal};
};

TEST_F(SakuraMotion, StaysInPlaceWithoutAnySpeed) {
    fall(10);
    EXPECT_EQ(petal().center(), CGPointMake(100, 200));
    EXPECT_EQ(petal().layer()->transform(), CATransform3DMakeRotation(0, 0, 0, 1));
}

TEST_F(SakuraMotion, AddsItsDriftToItsCentreInDoublePrecision) {
    probe().originSpeed() = {-0.255f, 0.795f};
    double x = 100;
    double y = 200;
    for (int step = 0; step < 1000; ++step) {
        x += double{-0.255f};
        y += double{0.795f};
    }
    fall(1000);
    EXPECT_EQ(petal().center(), CGPointMake(x, y));
}

TEST_F(SakuraMotion, AddsThePushFirstAndThenTheDrift) {
    probe().originSpeed() = {0.1f, 0.7f};
    probe().changedSpeed() = {0.3f, -0.3f};
    fall(1);
    EXPECT_EQ(petal().center(), CGPointMake((100 + double{0.3f}) + double{0.1f},
                                            (200 + double{-0.3f}) + double{0.7f}));
}

TEST_F(SakuraMotion, StartsFromWhereverItsOwnerPutIt) {
    probe().originSpeed() = {1, 2};
    fall(1);
    petal().setCenter({10, 20});
    fall(1);
    EXPECT_EQ(petal().center(), CGPointMake(11, 22));
}

TEST_F(SakuraMotion, TurnsByItsStepAboutTheScreensNormal) {
    probe().angleStep() = 0.0125;
    double angle = 0;
    for (int step = 0; step < 100; ++step) {
        petal().falling();
        angle += 0.0125;
        ASSERT_EQ(petal().angle(), angle);
        ASSERT_EQ(petal().layer()->transform(), CATransform3DMakeRotation(angle, 0, 0, 1));
    }
    EXPECT_EQ(petal().bounds().size, CGSizeMake(20, 30)) << "the size does not turn";
}

TEST_F(SakuraMotion, LosesAPushByTheDecayOnEachAxisAndKeepsTheRemainder) {
    probe().changedSpeed() = {0.03f, -0.05f};
    probe().deacceleration() = {0.02f, 0.02f};
    fall(1);
    EXPECT_EQ(probe().changedSpeed(), (CppVector2D{0.03f - 0.02f, -0.05f + 0.02f}));
    EXPECT_NEAR(probe().changedSpeed().x, 0.01, 1e-7);
    EXPECT_NEAR(probe().changedSpeed().y, -0.03, 1e-7);
    fall(1);
    const CppVector2D remainder = probe().changedSpeed();
    EXPECT_EQ(remainder, (CppVector2D{0.03f - 0.02f, -0.05f + 0.02f + 0.02f}));
    EXPECT_NEAR(remainder.y, -0.01, 1e-7);
    fall(50);
    EXPECT_EQ(probe().changedSpeed(), remainder);
}

TEST_F(SakuraMotion, LeavesAPushOfExactlyTheDecayAsItIs) {
    probe().changedSpeed() = {0.02f, -0.02f};
    probe().deacceleration() = {0.02f, 0.02f};
    fall(1);
    EXPECT_EQ(probe().changedSpeed(), (CppVector2D{0.02f, -0.02f}));
    EXPECT_EQ(petal().center(), CGPointMake(100 + double{0.02f}, 200 - double{0.02f}));
}

TEST_F(SakuraMotion, MovesByThePushThatIsLeftAfterTheDecay) {
    probe().changedSpeed() = {1, 0};
    probe().deacceleration() = {0.25f, 0.25f};
    fall(1);
    EXPECT_EQ(petal().center().x, 100.75);
}

TEST_F(SakuraMotion, SwaysUntilItsDriftPassesTheLimitAndTurnsThere) {
    probe().isXOffset() = true;
    probe().originSpeed().x = 0.3f;
    probe().xOffset() = 0.015;
    fall(73);
    EXPECT_EQ(probe().xOffset(), 0.015);
    EXPECT_NEAR(probe().originSpeed().x, -0.795, 1e-5);
    fall(1);
    EXPECT_NEAR(probe().originSpeed().x, -0.81, 1e-5);
    EXPECT_EQ(probe().xOffset(), -0.015);
    fall(1);
    EXPECT_NEAR(probe().originSpeed().x, -0.795, 1e-5);
}

TEST_F(SakuraMotion, SwaysInDoublePrecisionStoredAsSingle) {
    probe().isXOffset() = true;
    probe().originSpeed().x = 0.7f;
    probe().xOffset() = 0.01;
    float drift = 0.7f;
    double rate = 0.01;
    double x = 100;
    for (int step = 0; step < 2000; ++step) {
        drift = static_cast<float>(double{drift} - rate);
        if (std::fabs(double{drift}) > 0.8) {
            rate = -rate;
        }
        x += double{drift};
        petal().falling();
        ASSERT_EQ(probe().originSpeed().x, drift) << step;
        ASSERT_EQ(probe().xOffset(), rate) << step;
        ASSERT_EQ(petal().center().x, x) << step;
    }
}

TEST_F(SakuraMotion, HoldsItsSwayAgainstTheDoubleLimit) {
    // The single-precision neighbour of 0.8 lies above the double 0.8.
    probe().isXOffset() = true;
    probe().originSpeed().x = 0.8f;
    probe().xOffset() = 0;
    ASSERT_GT(double{0.8f}, 0.8);
    probe().xOffset() = 1e-12;
    fall(1);
    EXPECT_EQ(probe().originSpeed().x, 0.8f);
    EXPECT_EQ(probe().xOffset(), -1e-12);
}

TEST_F(SakuraMotion, AlternatesWithoutSwayingWhenItsDriftExceedsTheLimit) {
    probe().isXOffset() = true;
    probe().originSpeed().x = 1.0f;
    probe().xOffset() = 0.01;
    const auto below = static_cast<float>(1.0 - 0.01);
    for (int pair = 0; pair < 20; ++pair) {
        fall(1);
        EXPECT_EQ(probe().originSpeed().x, below);
        EXPECT_EQ(probe().xOffset(), -0.01);
        fall(1);
        EXPECT_EQ(probe().originSpeed().x, 1.0f);
        EXPECT_EQ(probe().xOffset(), 0.01);
    }
}

TEST_F(SakuraMotion, CarriesTheSignOfItsSwayOverARecycling) {
    probe().xOffset() = -0.01;
    petal().resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(nullptr, 1, 1, 0);
    EXPECT_EQ(probe().xOffset(), -0.01);
}

TEST_F(SakuraMotion, DoesNotSwayUnlessItIsOneThatDoes) {
    probe().originSpeed().x = 0.3f;
    fall(10);
    EXPECT_EQ(probe().originSpeed().x, 0.3f);
}

TEST_F(SakuraMotion, IsPushedAwayFromATapAtItsSpeed) {
    petal().doResponseWithTapPoint_speed({97, 196}, 2);
    EXPECT_EQ(probe().changedSpeed(), (CppVector2D{static_cast<float>(2 * double{3.0f / 5.0f}),
                                                   static_cast<float>(2 * double{4.0f / 5.0f})}));
    EXPECT_EQ(probe().deacceleration(), (CppVector2D{0.02f, 0.02f}));
    EXPECT_EQ(petal().center(), CGPointMake(100, 200)) << "from the next step on";
}

TEST_F(SakuraMotion, ComputesThePushInSinglePrecision) {
    petal().setCenter({100.1, 200.7});
    for (int i = 0; i < 100; ++i) {
        const CGPoint tap{97.3 + 0.31 * i, 211.2 - 0.17 * i};
        petal().doResponseWithTapPoint_speed(tap, 1.7);
        const auto dx = static_cast<float>(100.1 - tap.x);
        const auto dy = static_cast<float>(200.7 - tap.y);
        const float length =
            std::sqrt(static_cast<float>(double{dx} * double{dx} + double{dy} * double{dy}));
        ASSERT_EQ(probe().changedSpeed().x, static_cast<float>(1.7 * double{dx / length})) << i;
        ASSERT_EQ(probe().changedSpeed().y, static_cast<float>(1.7 * double{dy / length})) << i;
    }
}

TEST_F(SakuraMotion, IsNotPushedByATapOnItsVeryCentre) {
    probe().changedSpeed() = {1, 1};
    petal().doResponseWithTapPoint_speed({100, 200}, 2);
    EXPECT_EQ(probe().changedSpeed(), CppVector2D());
    EXPECT_EQ(probe().deacceleration(), (CppVector2D{0.02f, 0.02f}));
}

TEST_F(SakuraMotion, ForgetsAnEarlierPushAtATap) {
    petal().doResponseWithTapPoint_speed({90, 200}, 2);
    petal().doResponseWithTapPoint_speed({100, 190}, 1);
    EXPECT_EQ(probe().changedSpeed(), (CppVector2D{0, 1}));
}

TEST_F(SakuraMotion, WearsAPushOffInAboutAHundredSteps) {
    petal().doResponseWithTapPoint_speed({90, 200}, 2);
    fall(98);
    EXPECT_GT(probe().changedSpeed().x, 0.02f);
    fall(3);
    EXPECT_LE(std::fabs(probe().changedSpeed().x), 0.02f);
}

TEST_F(SakuraMotion, TurnsAPushTowardItsLargerComponent) {
    petal().doResponseWithTapPoint_speed({97, 196}, 2);
    fall(70);
    EXPECT_LE(std::fabs(probe().changedSpeed().x), 0.02f);
    EXPECT_GT(probe().changedSpeed().y, 0.1f);
}

TEST_F(SakuraMotion, AllocatesNothingInAStep) {
    probe().originSpeed() = {0.3f, 0.7f};
    probe().isXOffset() = true;
    probe().angleStep() = 0.01;
    petal().doResponseWithTapPoint_speed({97, 196}, 2);
    const std::size_t before = AllocationCounter::totalBlocks();
    fall(100);
    EXPECT_EQ(AllocationCounter::totalBlocks(), before);
}

} // namespace
