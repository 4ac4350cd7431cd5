#include "Tests/Animation/Support/PetalWallpaper.h"
#include "Tests/Support/ScriptedRandom.h"

#include <cmath>
#include <limits>

namespace {

/// Three petals, one in each layer, without any push and far from the taps.
class LumiveraTouch : public PetalWallpaper {
  protected:
    void loadThreePetals() {
        load();
        makePetals(3);
        for (Sakura *each : petals()) {
            each->setCenter({300, 470});
        }
    }

    CppVector2D pushOf(NSUInteger layer) { return SakuraProbe(petal(layer, 0)).changedSpeed(); }

    bool isPushed(NSUInteger layer) { return !(pushOf(layer) == CppVector2D()); }
};

TEST_F(LumiveraTouch, PushesAPetalThatIsCloserThanFiftyPoints) {
    loadThreePetals();
    petal(0, 0).setCenter({150, 100});
    petal(1, 0).setCenter({149.99, 100});
    view().tapActionAtViewPoint({100, 100});
    EXPECT_FALSE(isPushed(0)) << "exactly at fifty points";
    EXPECT_EQ(pushOf(1), (CppVector2D{2, 0}));
    EXPECT_EQ(SakuraProbe(petal(1, 0)).deacceleration(), (CppVector2D{0.02f, 0.02f}));
    EXPECT_FALSE(isPushed(2));
}

TEST_F(LumiveraTouch, MeasuresInSinglePrecision) {
    loadThreePetals();
    petal(0, 0).setCenter({150 - 1e-9, 100});
    view().tapActionAtViewPoint({100, 100});
    EXPECT_FALSE(isPushed(0)) << "nearer than fifty points, but not by a single's last digit";
}

TEST_F(LumiveraTouch, ScalesItsReachAndItsPushWithTheView) {
    loadThreePetals();
    view().setScale(0.5);
    petal(0, 0).setCenter({100, 125});
    petal(1, 0).setCenter({100, 124});
    view().tapActionAtViewPoint({100, 100});
    EXPECT_FALSE(isPushed(0));
    EXPECT_EQ(pushOf(1), (CppVector2D{0, 1}));
}

TEST_F(LumiveraTouch, PushesAllLayersAlike) {
    loadThreePetals();
    for (Sakura *each : petals()) {
        each->setCenter({100, 145});
    }
    view().tapActionAtViewPoint({100, 100});
    for (NSUInteger layer = 0; layer < 3; ++layer) {
        EXPECT_EQ(pushOf(layer), (CppVector2D{0, 2}));
    }
}

TEST_F(LumiveraTouch, MovesThePetalAwayFromTheNextFrameOn) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 90});
    SakuraProbe(petal(0, 0)).originSpeed() = {};
    SakuraProbe(petal(0, 0)).isXOffset() = false;
    view().tapActionAtViewPoint({100, 100});
    EXPECT_EQ(petal(0, 0).center(), CGPointMake(100, 90));
    view().doAnimating();
    EXPECT_EQ(petal(0, 0).center(), CGPointMake(100, 90 + double{-2.0f + 0.02f}));
}

TEST_F(LumiveraTouch, DoesNothingOutsideTheTapRectangle) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 101});
    view().setTapClipRect(CGRectMake(100, 100, 50, 50));
    for (const CGPoint outside : {CGPointMake(99.9, 100), CGPointMake(100, 99.9),
                                  CGPointMake(150, 120), CGPointMake(120, 150)}) {
        view().tapActionAtViewPoint(outside);
        EXPECT_FALSE(isPushed(0)) << outside.x << ", " << outside.y;
    }
    view().tapActionAtViewPoint({100, 100});
    EXPECT_TRUE(isPushed(0)) << "the corner belongs to it";
}

TEST_F(LumiveraTouch, DoesNothingWithAnEmptyOrNullTapRectangle) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 101});
    constexpr CGFloat infinity = std::numeric_limits<CGFloat>::infinity();
    for (const CGRect &rect : {CGRectMake(100, 100, 0, 50), CGRectMake(100, 100, 50, 0),
                               CGRectMake(infinity, infinity, 0, 0)}) {
        view().setTapClipRect(rect);
        view().tapActionAtViewPoint({100, 100});
        EXPECT_FALSE(isPushed(0));
    }
}

TEST_F(LumiveraTouch, TakesGestureTwoAsATapAndNoOther) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 110});
    for (const std::int32_t code : {0, 1, 3, -2, 22}) {
        view().gestureAction_atPoint(code, {100, 100});
        EXPECT_FALSE(isPushed(0)) << code;
    }
    view().gestureAction_atPoint(2, {100, 100});
    EXPECT_EQ(pushOf(0), (CppVector2D{0, 2}));
}

TEST_F(LumiveraTouch, DrawsNoRandomNumbers) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 110});
    ScriptedRandom random;
    view().tapActionAtViewPoint({100, 100});
    EXPECT_EQ(random.drawCount(), 0u);
}

TEST_F(LumiveraTouch, IgnoresTilt) {
    loadThreePetals();
    ScriptedRandom random;
    const CGPoint center = petal(0, 0).center();
    view().accelerometer_didAccelerate(nullptr, nullptr);
    EXPECT_EQ(petal(0, 0).center(), center);
    EXPECT_EQ(random.drawCount(), 0u);
}

TEST_F(LumiveraTouch, IsHarmlessBeforeTheResourcesAreLoaded) {
    view().tapActionAtViewPoint({100, 100});
    view().gestureAction_atPoint(2, {100, 100});
    view().setSpeedLevel(3);
    EXPECT_EQ(view().subviewCount(), 1u);
}

TEST_F(LumiveraTouch, ResetsEveryPetalAndAllLaterOnesToANewSpeedLevel) {
    load();
    makePetals(9);
    {
        ScriptedRandom random;
        random.add({0, 1, 71, 1, 0, 1, 71, 1, 0, 1, 71, 1, 0, 1, 71, 1, 0, 1});
        view().setSpeedLevel(3);
        EXPECT_EQ(random.drawCount(), 18u);
        EXPECT_EQ(random.leftCount(), 0u);
    }
    const auto all = petals();
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(SakuraProbe(*all[i]).originSpeed(),
                  i % 2 == 0 ? (CppVector2D{0.54f, 1.62f}) : (CppVector2D{-1.065f, 2.685f}));
    }
    EXPECT_EQ(view().speedLevel(), 0) << "the frame's own level stays";

    ScriptedRandom random{3, 0, 71, 1, 0, 0};
    makePetals(10);
    EXPECT_EQ(SakuraProbe(petal(0, 4)).originSpeed(), (CppVector2D{-1.065f, 2.685f}));
}

TEST_F(LumiveraTouch, TakesANegativeSpeedLevelAsItIs) {
    loadThreePetals();
    ScriptedRandom random{0, 1, 0, 1, 0, 1};
    view().setSpeedLevel(-3);
    for (NSUInteger layer = 0; layer < 3; ++layer) {
        EXPECT_EQ(SakuraProbe(petal(layer, 0)).originSpeed(), (CppVector2D{-0.54f, -1.62f}));
    }
}

TEST_F(LumiveraTouch, GivesRecycledPetalsTheSpeedLevelToo) {
    loadThreePetals();
    view().setSpeedLevel(3);
    petal(0, 0).setCenter({160, 1000});
    ScriptedRandom random{0, 0, 71, 1};
    view().doAnimating();
    EXPECT_EQ(SakuraProbe(petal(0, 0)).originSpeed(), (CppVector2D{-1.065f, 2.685f}));
}

TEST_F(LumiveraTouch, KeepsARunningPushWhenTheSpeedLevelChanges) {
    loadThreePetals();
    petal(0, 0).setCenter({100, 110});
    view().tapActionAtViewPoint({100, 100});
    view().setSpeedLevel(1);
    EXPECT_EQ(pushOf(0), (CppVector2D{0, 2}));
}

} // namespace
