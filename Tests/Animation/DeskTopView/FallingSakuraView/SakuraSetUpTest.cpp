#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Animation/Support/SakuraProbe.h"
#include "Tests/Support/ScriptedRandom.h"

#include "Platform/UIKit/UIScreen.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

namespace {

constexpr int kNoSway = 1;
constexpr int kSway = 5;
constexpr double kRadiansPerDegree = std::numbers::pi / 180;

class SakuraSetUp : public testing::Test {
  protected:
    SakuraSetUp() { setScreenWidth(320); }
    ~SakuraSetUp() override { UIScreen::setMainScreen(nullptr); }

    static void setScreenWidth(CGFloat width) {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, width, 480), 1));
    }
};

TEST_F(SakuraSetUp, FromAFrameIsOfScaleOneAndLevelTwoWithTheFasterSway) {
    ScriptedRandom random{100, 47, kSway};
    const auto petal = Sakura::initWithFrame(CGRectMake(10, 20, 30, 40));
    SakuraProbe probe(*petal);
    EXPECT_EQ(petal->scale(), 1.0);
    EXPECT_EQ(probe.xOffset(), 0.015);
    EXPECT_EQ(petal->originPosition(), CGPointMake(25, 40));
    EXPECT_EQ(petal->originAngle(), 0.0);
    EXPECT_EQ(petal->width(), 320u);
    EXPECT_EQ(petal->maskColor(), nullptr);
    EXPECT_EQ(petal->frame(), CGRectMake(100, 0.1, 0, 0));
    EXPECT_EQ(probe.originSpeed(), (CppVector2D{-0.705f, 1.785f}));
    EXPECT_TRUE(probe.isXOffset());
    EXPECT_EQ(probe.changedSpeed(), CppVector2D());
    EXPECT_EQ(probe.deacceleration(), CppVector2D());
    EXPECT_EQ(random.drawCount(), 3u);
}

TEST_F(SakuraSetUp, FromAPictureTakesItsScaleAndLevelAndTheSlowerSway) {
    ScriptedRandom random{321, 0, kNoSway};
    const auto petal = Sakura::initWithImage_scale_speed(pictureOfSize(20, 30), 0.5, 1);
    SakuraProbe probe(*petal);
    EXPECT_EQ(petal->scale(), 0.5);
    EXPECT_EQ(probe.xOffset(), 0.01);
    EXPECT_EQ(petal->originPosition(), CGPoint());
    EXPECT_EQ(petal->bounds().size, CGSizeMake(10, 15));
    EXPECT_EQ(petal->center(), CGPointMake(1 + 5, 0.1 - 15 + 7.5));
    EXPECT_EQ(probe.originSpeed(), (CppVector2D{0.18f, 0.54f}));
    EXPECT_FALSE(probe.isXOffset());
    EXPECT_EQ(random.drawCount(), 3u);
}

TEST_F(SakuraSetUp, TruncatesTheScreensWidth) {
    setScreenWidth(99.75);
    ScriptedRandom random{99, 0, kNoSway};
    const auto petal = Sakura::initWithFrame(CGRect());
    EXPECT_EQ(petal->width(), 99u);
    EXPECT_EQ(petal->frame().origin.x, 0.0);
}

TEST_F(SakuraSetUp, StartsAtTheLeftWithoutAScreen) {
    UIScreen::setMainScreen(nullptr);
    const auto petal = Sakura::initWithFrame(CGRect());
    EXPECT_EQ(petal->width(), 0u);
    EXPECT_EQ(petal->frame().origin.x, 0.0);
}

TEST_F(SakuraSetUp, OwnsItsMaskColor) {
    const auto color = UIColor::colorWithRed_green_blue_alpha(1, 0, 0, 1);
    {
        const auto petal = Sakura::initWithFrame(CGRect());
        petal->setMaskColor(color);
        EXPECT_EQ(petal->maskColor(), color.get());
        EXPECT_EQ(color->retainCount(), 2u);
    }
    EXPECT_EQ(color->retainCount(), 1u);
}

/// The speed that one random draw gives for a level.
struct SpeedRow {
    NSInteger level;
    int draw;
    float x;
    float y;
    double degrees;
};

class SakuraSpeed : public testing::TestWithParam<SpeedRow> {};

TEST_P(SakuraSpeed, ComesFromOneDraw) {
    const SpeedRow &row = GetParam();
    const auto petal = Sakura::initWithFrame(CGRect());
    SakuraProbe probe(*petal);
    ScriptedRandom random{row.draw, kNoSway};
    petal->resetFallingSpeedLevel(row.level);
    EXPECT_EQ(probe.originSpeed(), (CppVector2D{row.x, row.y}));
    EXPECT_DOUBLE_EQ(probe.angleStep(), row.degrees * kRadiansPerDegree);
    EXPECT_EQ(random.drawCount(), 2u);
}

/// The smallest and the largest value of each level's ranges, then draws between them and beyond 32
/// bits.
INSTANTIATE_TEST_SUITE_P(
    Levels, SakuraSpeed,
    testing::Values(SpeedRow{1, 0, 0.18f, 0.54f, -0.3}, SpeedRow{1, 23, -0.345f, 0.885f, 0.875},
                    SpeedRow{2, 0, 0.36f, 1.08f, -0.6}, SpeedRow{2, 47, -0.705f, 1.785f, 1.775},
                    SpeedRow{0, 0, 0.36f, 1.08f, -0.6}, SpeedRow{0, 47, -0.705f, 1.785f, 1.775},
                    SpeedRow{3, 0, 0.54f, 1.62f, -0.9}, SpeedRow{3, 71, -1.065f, 2.685f, 2.675},
                    SpeedRow{1, 17, -0.255f, 0.795f, 0.725},
                    SpeedRow{1, 2147483646, 0.27f, 0.63f, -0.45},
                    SpeedRow{2, 2147483647, -0.465f, 1.545f, 1.375},
                    SpeedRow{400'000'000, 2147483647, -104212254.705f, 248212254.705f,
                             0.025 * 6947483647.0}));

/// Twelve times such a level overflows the word; twice such a level may even overflow to 0.
TEST(Sakura, SurvivesALevelBeyondTheWord) {
    using Limits = std::numeric_limits<NSInteger>;
    constexpr NSInteger kHigh = NSInteger{1} << (Limits::digits - 2);
    const auto petal = Sakura::initWithFrame(CGRect());
    SakuraProbe probe(*petal);
    for (const NSInteger level : {Limits::max(), Limits::max() / 12 + 1, kHigh, kHigh / 3 + 1,
                                  Limits::max() / 60 + 1, Limits::min()}) {
        for (const int draw : {0, 1, 2147483647}) {
            ScriptedRandom random{draw, kNoSway};
            petal->resetFallingSpeedLevel(level);
            const double units = 12.0 * static_cast<double>(level);
            const double sign = draw % 2 == 0 ? 1 : -1;
            EXPECT_FLOAT_EQ(probe.originSpeed().x, static_cast<float>(units * 0.015 * sign));
            EXPECT_FLOAT_EQ(probe.originSpeed().y, static_cast<float>(3 * units * 0.015));
            EXPECT_NEAR(probe.angleStep() / (-sign * units * 0.025 * kRadiansPerDegree), 1, 1e-8);
            petal->falling();
        }
    }
}

TEST(Sakura, TakesTheSignOfANegativeLevelButNotOfTheRemainder) {
    const auto petal = Sakura::initWithFrame(CGRect());
    SakuraProbe probe(*petal);
    ScriptedRandom random{17, kNoSway};
    petal->resetFallingSpeedLevel(-1);
    EXPECT_EQ(probe.originSpeed(),
              (CppVector2D{static_cast<float>(7 * 0.015), static_cast<float>(-19 * 0.015)}));
    EXPECT_DOUBLE_EQ(probe.angleStep(), 5 * 0.025 * kRadiansPerDegree);
}

TEST(Sakura, StaysWithItsOriginWhereverItFalls) {
    const auto petal = Sakura::initWithFrame(CGRectMake(10, 20, 30, 40));
    petal->falling();
    petal->setCenter({7, 8});
    petal->resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(pictureOfSize(40, 30), 1, 1,
                                                                        0);
    petal->setScale(2);
    petal->falling();
    EXPECT_EQ(petal->originPosition(), CGPointMake(25, 40));
    EXPECT_EQ(petal->originAngle(), 0.0);
}

TEST(Sakura, KeepsWhatItsOwnerSets) {
    const auto petal = Sakura::initWithFrame(CGRect());
    SakuraProbe(*petal).angleStep() = 0.25;
    petal->setOriginPosition({1, 2});
    petal->setOriginAngle(3);
    petal->setAngle(0.5);
    petal->setWidth(7);
    EXPECT_EQ(petal->originPosition(), CGPointMake(1, 2));
    EXPECT_EQ(petal->originAngle(), 3.0);
    EXPECT_EQ(petal->width(), 7u);
    petal->falling();
    EXPECT_EQ(petal->angle(), 0.75);
    EXPECT_EQ(petal->layer()->transform(), CATransform3DMakeRotation(0.75, 0, 0, 1));
}

TEST(Sakura, MovesLikeLevelTwoAtLevelZeroForEveryDraw) {
    const auto zero = Sakura::initWithFrame(CGRect());
    const auto two = Sakura::initWithFrame(CGRect());
    for (int draw = 0; draw < 200; ++draw) {
        ScriptedRandom random{draw, draw, draw, draw};
        zero->resetFallingSpeedLevel(0);
        two->resetFallingSpeedLevel(2);
        EXPECT_EQ(SakuraProbe(*zero).originSpeed(), SakuraProbe(*two).originSpeed());
        EXPECT_EQ(SakuraProbe(*zero).angleStep(), SakuraProbe(*two).angleStep());
        EXPECT_EQ(SakuraProbe(*zero).isXOffset(), SakuraProbe(*two).isXOffset());
    }
}

TEST(Sakura, DriftsLeftTurningForwardOnOddDrawsAndRightTurningBackOnEvenOnes) {
    const auto petal = Sakura::initWithFrame(CGRect());
    SakuraProbe probe(*petal);
    for (int draw = 0; draw < 100; ++draw) {
        ScriptedRandom random{draw, kNoSway};
        petal->resetFallingSpeedLevel(1);
        EXPECT_EQ(probe.originSpeed().x < 0, draw % 2 == 1) << draw;
        EXPECT_EQ(probe.angleStep() > 0, draw % 2 == 1) << draw;
    }
}

TEST(Sakura, SwaysOnEveryFifthSecondDraw) {
    const auto petal = Sakura::initWithFrame(CGRect());
    for (int draw = 0; draw < 20; ++draw) {
        ScriptedRandom random{0, draw};
        petal->resetFallingSpeedLevel(1);
        EXPECT_EQ(SakuraProbe(*petal).isXOffset(), draw % 5 == 0) << draw;
    }
}

TEST(Sakura, KeepsPlacePushAndTransformWhenItsSpeedIsReset) {
    const auto petal = Sakura::initWithImage_scale_speed(pictureOfSize(20, 30), 1, 1);
    SakuraProbe probe(*petal);
    petal->setCenter({100, 200});
    petal->doResponseWithTapPoint_speed({100, 190}, 2);
    petal->falling();
    const CGPoint center = petal->center();
    const CATransform3D transform = petal->layer()->transform();
    const CppVector2D push = probe.changedSpeed();
    const CGFloat swayRate = probe.xOffset();
    petal->resetFallingSpeedLevel(3);
    EXPECT_EQ(petal->center(), center);
    EXPECT_EQ(petal->layer()->transform(), transform);
    EXPECT_EQ(probe.changedSpeed(), push);
    EXPECT_EQ(probe.deacceleration(), (CppVector2D{0.02f, 0.02f}));
    EXPECT_EQ(probe.xOffset(), swayRate);
    EXPECT_EQ(petal->angle(), 0.0);
}

TEST(Sakura, TurnsByOneStepFromUprightAfterItsSpeedWasReset) {
    const auto petal = Sakura::initWithFrame(CGRect());
    petal->falling();
    petal->falling();
    petal->resetFallingSpeedLevel(3);
    petal->falling();
    EXPECT_EQ(petal->layer()->transform(),
              CATransform3DMakeRotation(SakuraProbe(*petal).angleStep(), 0, 0, 1));
}

/// A recycled petal of scale 0.5 in a strip of 320 points.
class SakuraRecycling : public testing::Test {
  protected:
    SakuraRecycling() { _petal->setWidth(320); }

    void recycle(Retained<UIImage> image, std::int32_t scaleLevel, CGFloat offset) {
        _petal->resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(std::move(image),
                                                                             scaleLevel, 1, offset);
    }

    Sakura &petal() { return *_petal; }

  private:
    Retained<Sakura> _petal = Sakura::initWithImage_scale_speed(nullptr, 0.5, 1);
};

TEST_F(SakuraRecycling, SitsATenthOfAPointBelowTheTopEdgeAtItsScaleLevelsSize) {
    ScriptedRandom random{700, 0, kNoSway};
    recycle(pictureOfSize(40, 30), 2, 0);
    EXPECT_EQ(petal().bounds().size, CGSizeMake(40, 30));
    EXPECT_EQ(petal().frame().size, CGSizeMake(40, 30));
    EXPECT_EQ(petal().frame().origin.x, 60.0);
    EXPECT_DOUBLE_EQ(petal().frame().origin.y, -29.9);
    EXPECT_EQ(petal().center(), CGPointMake(80, (0.1 - 30) + 15));
}

TEST_F(SakuraRecycling, DrawsItsPlaceBeforeItsSpeedAndItsSway) {
    ScriptedRandom random{319, 23, kSway};
    recycle(pictureOfSize(40, 30), 1, 0);
    EXPECT_EQ(petal().frame().origin.x, 319.0);
    EXPECT_EQ(SakuraProbe(petal()).originSpeed(), (CppVector2D{-0.345f, 0.885f}));
    EXPECT_TRUE(SakuraProbe(petal()).isXOffset());
    EXPECT_EQ(random.drawCount(), 3u);
    EXPECT_EQ(random.leftCount(), 0u);
}

TEST_F(SakuraRecycling, ShiftsItsPlaceByTheOffset) {
    ScriptedRandom random{321, 0, kNoSway};
    recycle(pictureOfSize(40, 30), 1, -50.5);
    EXPECT_EQ(petal().frame().origin.x, 1 - 50.5);
}

TEST_F(SakuraRecycling, IsUprightWithTheNewPicture) {
    petal().falling();
    const auto picture = pictureOfSize(40, 30);
    recycle(picture, 1, 0);
    EXPECT_EQ(petal().layer()->transform(), CATransform3DIdentity);
    EXPECT_EQ(petal().angle(), 0.0);
    EXPECT_EQ(petal().image(), picture);
}

TEST_F(SakuraRecycling, IsOfNoSizeWithoutAPicture) {
    recycle(pictureOfSize(40, 30), 1, 0);
    recycle(nullptr, 1, 0);
    EXPECT_FALSE(petal().image());
    EXPECT_EQ(petal().frame().size, CGSize());
    EXPECT_EQ(petal().frame().origin.y, 0.1);
}

TEST_F(SakuraRecycling, KeepsARunningPush) {
    petal().doResponseWithTapPoint_speed({-1000, 0}, 2);
    const CppVector2D push = SakuraProbe(petal()).changedSpeed();
    recycle(pictureOfSize(40, 30), 1, 0);
    EXPECT_EQ(SakuraProbe(petal()).changedSpeed(), push);
}

TEST_F(SakuraRecycling, CountsAWidthOfZeroAsOne) {
    petal().setWidth(0);
    ScriptedRandom random{77, 0, kNoSway};
    recycle(pictureOfSize(40, 30), 1, 3);
    EXPECT_EQ(petal().frame().origin.x, 3.0);
}

TEST_F(SakuraRecycling, ResizesAboutItsOriginWithoutTheScaleLevelWhenItsScaleIsSet) {
    ScriptedRandom random{60, 0, kNoSway};
    recycle(pictureOfSize(40, 30), 2, 0);
    petal().setScale(0.5);
    EXPECT_EQ(petal().scale(), 0.5);
    EXPECT_EQ(petal().frame().size, CGSizeMake(20, 15));
    EXPECT_EQ(petal().frame().origin.x, 60.0);
    EXPECT_DOUBLE_EQ(petal().frame().origin.y, -29.9);
}

TEST_F(SakuraRecycling, IsUprightUntilTheNextStepWhenItsScaleIsSet) {
    recycle(pictureOfSize(40, 30), 1, 0);
    petal().falling();
    const CGFloat angle = petal().angle();
    petal().setScale(2);
    EXPECT_EQ(petal().layer()->transform(), CATransform3DIdentity);
    EXPECT_EQ(petal().angle(), angle);
}

TEST_F(SakuraRecycling, IsOfNoSizeWhenItsScaleIsSetWithoutAPicture) {
    recycle(nullptr, 1, 0);
    petal().setScale(3);
    EXPECT_EQ(petal().frame().size, CGSize());
}

} // namespace
