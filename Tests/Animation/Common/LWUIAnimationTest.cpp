#include "Animation/Common/UIView+LWUIAnimation.h"

#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/UIKit/UIImageView.h"
#include "Tests/Support/SimulatedTime.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace {

using std::numbers::pi;

constexpr CGRect kFrame{{10, 20}, {100, 50}};
constexpr CGPoint kCenter{60, 45};
constexpr CGPoint kDestination{160, 245};

CATransform3D turned(double degrees) {
    return CATransform3DMakeRotation(degrees * pi / 180, 0, 0, 1);
}

/// A plane tilted about x and then seen from 500 points away.
CATransform3D tilted(double degrees) {
    CATransform3D perspective = CATransform3DIdentity;
    perspective.m34 = -0.002;
    return CATransform3DRotate(perspective, degrees * pi / 180, 1, 0, 0);
}

void expectNear(const CATransform3D &actual, const CATransform3D &expected) {
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR((&actual.m11)[i], (&expected.m11)[i], 1e-7) << "element " << i;
    }
}

/// A delegate that records stops.
class Target final : public NSObject, public CAAnimationDelegate {
  public:
    void animationDidStop_finished(CAAnimation *, bool) override { ++stops; }

    int stops = 0;
};

class LWUIAnimationTest : public SimulatedTimeTest {
  public:
    LWUIAnimationTest() { nextCallOut(); }

  protected:
    /// Lets a call-out end, so that later changes are not grouped with earlier ones.
    static void nextCallOut() {
        loop().performSelectorOnMainThread(
            nullptr, [] {}, false);
        runForSeconds(0);
    }

    CALayer &layer() const { return *view->layer(); }

    LayerValues shownAfter(double seconds) const {
        runForSeconds(seconds);
        return layer().presentationAt(CACurrentMediaTime());
    }

    /// Where the view's centre is shown.
    CGPoint placeAfter(double seconds) const {
        const LayerValues shown = shownAfter(seconds);
        return {shown.position.x + shown.transform.m41, shown.position.y + shown.transform.m42};
    }

    double scaleAfter(double seconds) const {
        const CATransform3D shown = shownAfter(seconds).transform;
        EXPECT_EQ(shown, CATransform3DMakeScale(shown.m11, shown.m11, shown.m11));
        return shown.m11;
    }

    void expectAngleAfter(double seconds, double degrees) const {
        SCOPED_TRACE(degrees);
        expectNear(shownAfter(seconds).transform, turned(degrees));
    }

    void expectTiltAfter(double seconds, double degrees) const {
        SCOPED_TRACE(degrees);
        expectNear(shownAfter(seconds).sublayerTransform, tilted(degrees));
    }

    void move(CGPoint destination, double repeatCount = 0, bool autoreverses = false) const {
        LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
            view.get(), destination, 1, repeatCount, autoreverses);
    }

    void rock(double repeatCount = 0) const {
        LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(view.get(), -30, 30,
                                                                                1, repeatCount);
    }

    void spin(double angle, double repeatCount = 0) const {
        LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(view.get(), {7, 8}, angle, 1,
                                                                       repeatCount);
    }

    void tilt(bool on) const {
        LWUIAnimation::setPerspectiveEffectAnimation_duration(view.get(), on, 1);
    }

    const CABasicAnimation &running(const char *key) const {
        const auto animation = layer().animationForKey(key);
        return dynamic_cast<const CABasicAnimation &>(*animation);
    }

    void expectFolded(CGPoint center) const {
        EXPECT_EQ(view->center(), center);
        EXPECT_EQ(layer().transform(), CATransform3DIdentity);
        EXPECT_FALSE(layer().hasAnimations());
    }

    Retained<UIView> view = UIView::initWithFrame(kFrame);
};

/// Moves back to where it came from when its first move ends.
class Wanderer final : public UIView {
  public:
    Wanderer() : UIView(kFrame) {}

    void animationDidStop_finished(CAAnimation *animation, bool finished) override {
        UIView::animationDidStop_finished(animation, finished);
        if (!std::exchange(_isOnItsWayBack, true)) {
            LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(this, kCenter, 1,
                                                                                   0, false);
        }
    }

  private:
    bool _isOnItsWayBack = false;
};

/// Every operation on a view, one at a time.
struct Operation {
    const char *key;
    const char *keyPath;
    void (*start)(UIView *view, double duration, double repeatCount);
};

const Operation kOperations[] = {
    {"translation", "transform.translation",
     [](UIView *view, double duration, double count) {
         LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
             view, kDestination, duration, count, true);
     }},
    {"scale", "transform.scale",
     [](UIView *view, double duration, double count) {
         LWUIAnimation::setScaleAnimation_duration_repeatCount(view, 2, duration, count);
     }},
    {"rotation", "transform.rotation.z",
     [](UIView *view, double duration, double count) {
         LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(view, -30, 30,
                                                                                 duration, count);
     }},
    {"rotation", "transform.rotation",
     [](UIView *view, double duration, double count) {
         LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(view, {}, 90, duration,
                                                                        count);
     }},
    {"opacity", "opacity",
     [](UIView *view, double duration, double count) {
         LWUIAnimation::setAlphaAnimationDuration_repeatCount(view, duration, count);
     }},
};

using Factory = Retained<CABasicAnimation> (*)(UIView *, CAAnimationDelegate *, double,
                                               std::uint64_t, bool);

const struct {
    const char *keyPath;
    Factory create;
} kFactories[] = {
    {"transform.translation",
     LWUIAnimation::createTranslationAnimationWithTarget_duration_repeatCount_autoreverses},
    {"opacity", LWUIAnimation::createAlphaAnimationWithTarget_duration_repeatCount_autoreverses},
    {"transform.rotation.z",
     LWUIAnimation::createRotationAnimationWithTarget_duration_repeatCount_autoreverses},
};

} // namespace

// Moving.

TEST_F(LWUIAnimationTest, MovesFromWhereTheViewIsToTheDestination) {
    move(kDestination);
    EXPECT_EQ(layer().transform(), CATransform3DMakeTranslation(100, 200, 0));
    EXPECT_EQ(placeAfter(0), kCenter);
    EXPECT_EQ(placeAfter(0.25), (CGPoint{85, 95}));
    EXPECT_EQ(placeAfter(0.5), (CGPoint{135, 195}));
    EXPECT_EQ(view->center(), kCenter);
    EXPECT_EQ(placeAfter(0.25), kDestination);
    expectFolded(kDestination);
}

TEST_F(LWUIAnimationTest, AMoveThatGoesBackEndsAtTheDestinationAllTheSame) {
    move(kDestination, 2, true);
    EXPECT_EQ(placeAfter(1), kDestination);
    EXPECT_EQ(placeAfter(0.25), (CGPoint{135, 195}));
    EXPECT_EQ(placeAfter(0.75), kCenter);
    EXPECT_EQ(placeAfter(1.75), (CGPoint{85, 95}));
    EXPECT_EQ(placeAfter(0.25), kDestination);
    expectFolded(kDestination);
}

TEST_F(LWUIAnimationTest, AMoveThatIsRemovedEndsAtTheDestination) {
    move(kDestination);
    runForSeconds(0.5);
    layer().removeAnimationForKey("translation");
    expectFolded(kDestination);
    EXPECT_EQ(placeAfter(1), kDestination);
}

TEST_F(LWUIAnimationTest, AMoveToWhereTheViewIsChangesNothing) {
    move(kCenter);
    EXPECT_EQ(layer().transform(), CATransform3DIdentity);
    EXPECT_EQ(placeAfter(0.5), kCenter);
    runForSeconds(0.5);
    expectFolded(kCenter);
}

TEST_F(LWUIAnimationTest, TheSecondOfTwoMovesInARowLandsExactly) {
    move({300, 7});
    move(kDestination);
    EXPECT_EQ(placeAfter(0), kCenter);
    EXPECT_EQ(placeAfter(0.25), (CGPoint{85, 95}));
    runForSeconds(0.75 - 1.0 / 512);
    EXPECT_EQ(view->center(), kCenter) << "the first one was replaced";
    EXPECT_EQ(layer().transform(), CATransform3DMakeTranslation(100, 200, 0));
    runForSeconds(1.0 / 512);
    expectFolded(kDestination);
}

TEST_F(LWUIAnimationTest, AMoveMayBeginWhenTheLastOneEnds) {
    view = makeRetained<Wanderer>();
    nextCallOut();
    move(kDestination);
    runForSeconds(1);
    EXPECT_EQ(placeAfter(0), kDestination);
    EXPECT_EQ(view->center(), kDestination);
    EXPECT_EQ(placeAfter(0.5), (CGPoint{110, 145}));
    runForSeconds(0.5);
    expectFolded(kCenter);
}

TEST_F(LWUIAnimationTest, AMoveBeginsAtTheDestinationOfOneThatWasJustRemoved) {
    move(kDestination);
    runForSeconds(0.5);
    nextCallOut();
    layer().removeAnimationForKey("translation");
    move(kCenter);
    EXPECT_EQ(placeAfter(0), kDestination);
    EXPECT_EQ(placeAfter(0.5), (CGPoint{110, 145}));
}

TEST_F(LWUIAnimationTest, AFadeBeginsAtTheOpacityBeforeAMoveWasRemoved) {
    move(kDestination);
    runForSeconds(0.5);
    nextCallOut();
    layer().setOpacity(0);
    layer().removeAnimationForKey("translation");
    const auto fade = CABasicAnimation::animationWithKeyPath("opacity");
    fade->setDuration(1);
    layer().addAnimation_forKey(fade.get(), "opacity");
    EXPECT_EQ(layer().presentationAt(CACurrentMediaTime()).opacity, 1.0F);
}

TEST_F(LWUIAnimationTest, AMoveUnderAnotherKeyIsNotFolded) {
    const auto animation = CABasicAnimation::animationWithKeyPath("transform.translation");
    animation->setDelegate(view.get());
    layer().addAnimation_forKey(animation.get(), "another");
    layer().setTransform(CATransform3DMakeTranslation(3, 4, 0));
    runForSeconds(1);
    EXPECT_EQ(view->center(), kCenter);
    EXPECT_EQ(layer().transform().m41, 3);
}

TEST_F(LWUIAnimationTest, AMoveGoesOnFromWhereTheOneBeforeGot) {
    move(kDestination);
    EXPECT_EQ(placeAfter(0.5), (CGPoint{110, 145}));
    nextCallOut();
    move({60, 245});
    EXPECT_EQ(placeAfter(0), (CGPoint{110, 145}));
    EXPECT_EQ(placeAfter(0.5), (CGPoint{85, 195}));
    runForSeconds(0.5);
    expectFolded({60, 245});
}

TEST_F(LWUIAnimationTest, AMoveCountsATranslationThatTheViewHas) {
    layer().setTransform(CATransform3DMakeTranslation(40, -45, 0));
    nextCallOut();
    move(kDestination);
    EXPECT_EQ(layer().transform(), CATransform3DMakeTranslation(100, 200, 0));
    EXPECT_EQ(placeAfter(0), (CGPoint{100, 0}));
    runForSeconds(1);
    expectFolded(kDestination);
}

/// The translation is applied before the transform that the view has already.
TEST_F(LWUIAnimationTest, AMoveOfAScaledViewIsScaled) {
    layer().setTransform(CATransform3DMakeScale(2, 2, 2));
    nextCallOut();
    move(kDestination);
    EXPECT_EQ(layer().transform().m41, 200);
    EXPECT_EQ(layer().transform().m42, 400);
    runForSeconds(1);
    EXPECT_EQ(view->center(), (CGPoint{260, 445}));
    EXPECT_EQ(layer().transform(), CATransform3DMakeScale(2, 2, 2));
}

TEST_F(LWUIAnimationTest, TheViewIsToldOfItsMovesAndAlphaAlone) {
    move(kDestination);
    tilt(true);
    for (const Operation &operation : kOperations) {
        operation.start(view.get(), 1, 0);
    }
    EXPECT_EQ(running("translation").delegate(), view.get());
    EXPECT_EQ(running("opacity").delegate(), view.get());
    EXPECT_EQ(running("scale").delegate(), nullptr);
    EXPECT_EQ(running("rotation").delegate(), nullptr);
    EXPECT_EQ(running("perspective").delegate(), nullptr);
}

TEST_F(LWUIAnimationTest, StopsOfOtherAnimationsAreIgnored) {
    move(kDestination);
    const auto other = CABasicAnimation::animationWithKeyPath("transform.translation");
    LWUIAnimation::animationDidStop_finished(view.get(), other.get(), true);
    LWUIAnimation::animationDidStop_finished(view.get(), nullptr, true);
    EXPECT_EQ(view->center(), kCenter);
    EXPECT_TRUE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, AStopWithNothingUnderTheKeyIsIgnored) {
    layer().setTransform(CATransform3DMakeTranslation(3, 4, 0));
    LWUIAnimation::animationDidStop_finished(view.get(), nullptr, true);
    EXPECT_EQ(view->center(), kCenter);
    EXPECT_EQ(layer().transform().m41, 3);
}

TEST_F(LWUIAnimationTest, WhetherAMoveWasFinishedDoesNotMatter) {
    for (const bool finished : {false, true}) {
        view->setCenter(kCenter);
        const auto own = CABasicAnimation::animationWithKeyPath("transform.translation");
        layer().addAnimation_forKey(own.get(), "translation");
        layer().setTransform(CATransform3DMakeTranslation(3, 4, 5));
        LWUIAnimation::animationDidStop_finished(view.get(), own.get(), finished);
        EXPECT_EQ(view->center(), (CGPoint{63, 49}));
        EXPECT_EQ(layer().transform(), CATransform3DMakeTranslation(0, 0, 5));
        EXPECT_FALSE(layer().hasAnimations());
    }
}

TEST_F(LWUIAnimationTest, WorksOnViewsOfAnyKind) {
    view = UIImageView::initWithFrame(kFrame);
    nextCallOut();
    move(kDestination);
    runForSeconds(1);
    expectFolded(kDestination);
}

// Scaling.

TEST_F(LWUIAnimationTest, ScalesThereAndBack) {
    LWUIAnimation::setScaleAnimation_duration_repeatCount(view.get(), 3, 1, 2);
    EXPECT_EQ(scaleAfter(0), 1);
    EXPECT_EQ(scaleAfter(0.25), 1.5);
    EXPECT_EQ(scaleAfter(0.75), 3);
    EXPECT_EQ(scaleAfter(0.25), 2.5);
    EXPECT_EQ(scaleAfter(1), 1.5);
    EXPECT_EQ(scaleAfter(1.5), 1.5);
    EXPECT_EQ(scaleAfter(0.25), 1);
    EXPECT_FALSE(layer().hasAnimations());
    EXPECT_EQ(layer().transform(), CATransform3DIdentity);
}

TEST_F(LWUIAnimationTest, ScalesFromTheViewsOwnScale) {
    layer().setTransform(CATransform3DMakeScale(2, 2, 2));
    LWUIAnimation::setScaleAnimation_duration_repeatCount(view.get(), 4, 1, 0);
    EXPECT_EQ(scaleAfter(0), 2);
    EXPECT_EQ(scaleAfter(0.25), 2.5);
    layer().removeAnimationForKey("scale");
    EXPECT_EQ(scaleAfter(0), 2);
}

TEST_F(LWUIAnimationTest, ScalesInSinglePrecision) {
    LWUIAnimation::setScaleAnimation_duration_repeatCount(view.get(), 0.1, 1, 0);
    EXPECT_EQ(running("scale").toValue(), AnimationValue(0.1F));
    EXPECT_EQ(running("scale").fromValue(), AnimationValue());
}

// Rocking.

TEST_F(LWUIAnimationTest, RocksBetweenTheAngles) {
    rock(2);
    expectAngleAfter(0, -30);
    expectAngleAfter(0.25, -15);
    expectAngleAfter(0.75, 30);
    expectAngleAfter(0.25, 15);
    expectAngleAfter(1, -15);
    expectAngleAfter(1.5, -15);
    expectAngleAfter(0.25, 0);
    EXPECT_FALSE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, StopsRockingWhenItIsRemoved) {
    rock();
    runForSeconds(0.25);
    layer().removeAnimationForKey("rotation");
    expectAngleAfter(0, 0);
}

TEST_F(LWUIAnimationTest, RocksInSinglePrecision) {
    rock();
    EXPECT_EQ(running("rotation").fromValue(), AnimationValue(static_cast<float>(-30 * pi / 180)));
    EXPECT_EQ(running("rotation").toValue(), AnimationValue(static_cast<float>(30 * pi / 180)));
    EXPECT_TRUE(running("rotation").autoreverses());
}

// Spinning.

TEST_F(LWUIAnimationTest, SpinsCounterClockwiseByAPositiveAngle) {
    spin(90, 2);
    expectAngleAfter(0, 0);
    expectAngleAfter(0.25, -22.5);
    expectAngleAfter(0.5, -67.5);
    expectAngleAfter(0.25, 0);
    expectAngleAfter(0.75, -67.5);
    expectAngleAfter(0.25, 0);
    EXPECT_FALSE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, StopsSpinningWhenItIsRemoved) {
    spin(90);
    runForSeconds(0.25);
    layer().removeAnimationForKey("rotation");
    expectAngleAfter(0, 0);
}

TEST_F(LWUIAnimationTest, ARightAngleIsHalfOfPiInDoublePrecision) {
    spin(90);
    EXPECT_EQ(running("rotation").toValue(), AnimationValue(-pi / 2));
    EXPECT_EQ(running("rotation").fromValue(), AnimationValue());
    EXPECT_FALSE(running("rotation").autoreverses());
}

TEST_F(LWUIAnimationTest, MaySpinMoreThanOnceRound) {
    spin(720);
    expectAngleAfter(0.0625, -45);
    expectAngleAfter(0.1875, -180);
}

TEST_F(LWUIAnimationTest, ThePointOfASpinDoesNotMatter) {
    spin(90);
    EXPECT_EQ(shownAfter(0.5).position, kCenter);
    EXPECT_EQ(layer().anchorPoint(), (CGPoint{0.5, 0.5}));
}

TEST_F(LWUIAnimationTest, RockingAndSpinningReplaceEachOther) {
    rock(10);
    runForSeconds(0.5);
    spin(90);
    EXPECT_EQ(running("rotation").keyPath(), "transform.rotation");
    expectAngleAfter(0.5, -45);
    rock();
    EXPECT_EQ(running("rotation").keyPath(), "transform.rotation.z");
    expectAngleAfter(0.25, -15);
    runForSeconds(1.75);
    EXPECT_FALSE(layer().hasAnimations());
}

// Perspective.

TEST_F(LWUIAnimationTest, TiltsSubviewsBack) {
    tilt(true);
    expectTiltAfter(0, 0);
    expectTiltAfter(0.25, 11.25);
    expectTiltAfter(0.5, 33.75);
    expectTiltAfter(0.25, 45);
    EXPECT_FALSE(layer().hasAnimations());
    EXPECT_NEAR(layer().sublayerTransform().m34, -0.002 * std::cos(pi / 4), 1e-18);
}

TEST_F(LWUIAnimationTest, TiltsThemForwardAgain) {
    tilt(true);
    runForSeconds(1);
    nextCallOut();
    tilt(false);
    expectTiltAfter(0, 45);
    expectTiltAfter(0.25, 33.75);
    expectTiltAfter(0.75, 0);
    EXPECT_FALSE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, StaysTiltedWhenTheAnimationIsRemoved) {
    tilt(true);
    layer().removeAnimationForKey("perspective");
    expectTiltAfter(0, 45);
}

TEST_F(LWUIAnimationTest, OnTwiceTiltsByARightAngle) {
    tilt(true);
    tilt(true);
    const CATransform3D t = layer().sublayerTransform();
    EXPECT_NEAR(t.m22, 0, 1e-15);
    EXPECT_NEAR(t.m23, 1, 1e-15);
    EXPECT_NEAR(t.m32, -1, 1e-15);
    EXPECT_NEAR(t.m33, 0, 1e-15);
    // The second call sets only one element of the perspective again, and affects all views.
    const double half = std::sqrt(0.5);
    EXPECT_NEAR(t.m34, -0.002 * half + 0.002 * half * half, 1e-17);
    EXPECT_NEAR(t.m24, -0.002 * half - 0.002 * half * half, 1e-17);
    const CATransform3D quarter = shownAfter(0.25).sublayerTransform;
    EXPECT_NEAR(quarter.m22, std::cos(pi / 8), 1e-12);
    EXPECT_NEAR(quarter.m23, std::sin(pi / 8), 1e-12);
}

TEST_F(LWUIAnimationTest, OffWithoutOnTiltsTheOtherWayWithoutPerspective) {
    tilt(false);
    const CATransform3D t = layer().sublayerTransform();
    EXPECT_EQ(t, CATransform3DMakeRotation(-pi / 4, 1, 0, 0));
    EXPECT_EQ(t.m34, 0);
}

TEST_F(LWUIAnimationTest, PerspectiveRunsOnce) {
    tilt(true);
    EXPECT_EQ(running("perspective").keyPath(), "sublayerTransform.rotation.x");
    EXPECT_EQ(running("perspective").repeatCount(), 0.0F);
    EXPECT_FALSE(running("perspective").autoreverses());
}

// Fading.

TEST_F(LWUIAnimationTest, FadesOutAndInAgain) {
    LWUIAnimation::setAlphaAnimationDuration_repeatCount(view.get(), 1, 2);
    EXPECT_EQ(shownAfter(0).opacity, 1.0F);
    EXPECT_EQ(shownAfter(0.25).opacity, 0.75F);
    EXPECT_EQ(shownAfter(0.75).opacity, 0.0F);
    EXPECT_EQ(shownAfter(0.25).opacity, 0.25F);
    EXPECT_EQ(shownAfter(1).opacity, 0.75F);
    EXPECT_EQ(shownAfter(1.5).opacity, 0.75F);
    EXPECT_EQ(shownAfter(0.25).opacity, 1.0F);
    EXPECT_FALSE(layer().hasAnimations());
    expectFolded(kCenter);
}

TEST_F(LWUIAnimationTest, IsThereAgainWhenFadingIsRemoved) {
    LWUIAnimation::setAlphaAnimationDuration_repeatCount(view.get(), 1, 2);
    runForSeconds(0.75);
    layer().removeAnimationForKey("opacity");
    EXPECT_EQ(shownAfter(0).opacity, 1.0F);
}

// All of them.

TEST_F(LWUIAnimationTest, EachUsesItsOwnKeyPathUnderItsKey) {
    for (const Operation &operation : kOperations) {
        operation.start(view.get(), 2, 3);
        EXPECT_EQ(running(operation.key).keyPath(), operation.keyPath);
        EXPECT_EQ(running(operation.key).duration(), 2);
        EXPECT_EQ(running(operation.key).repeatCount(), 3.0F);
        EXPECT_TRUE(running(operation.key).isRemovedOnCompletion());
    }
}

TEST_F(LWUIAnimationTest, CountsInSinglePrecision) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::pair<double, float> counts[] = {{0, 0.0F},
                                               {2.5, 2.5F},
                                               {0.1, 0.1F},
                                               {16777217, 16777216.0F},
                                               {18446744073709551615.0, 18446744073709551616.0F},
                                               {1e300, kInfinity},
                                               {-1e300, -kInfinity}};
    for (const Operation &operation : kOperations) {
        for (const auto &[count, expected] : counts) {
            operation.start(view.get(), 1, count);
            EXPECT_EQ(running(operation.key).repeatCount(), expected) << operation.keyPath;
        }
    }
}

TEST_F(LWUIAnimationTest, SeveralRunAtOnce) {
    move(kDestination);
    spin(90);
    LWUIAnimation::setScaleAnimation_duration_repeatCount(view.get(), 3, 1, 0);
    LWUIAnimation::setAlphaAnimationDuration_repeatCount(view.get(), 1, 0);
    const LayerValues shown = shownAfter(0.5);
    EXPECT_EQ(shown.opacity, 0.5F);
    expectNear(shown.transform, CATransform3DConcat(CATransform3DScale(turned(-45), 2, 2, 2),
                                                    CATransform3DMakeTranslation(50, 100, 0)));
    runForSeconds(0.5);
    EXPECT_EQ(view->center(), kDestination);
}

TEST_F(LWUIAnimationTest, TheViewMayGoWhileAnyOfThemRuns) {
    for (const Operation &operation : kOperations) {
        view = UIView::initWithFrame(kFrame);
        operation.start(view.get(), 1, 3);
        runForSeconds(0.5);
        view = nullptr;
        EXPECT_EQ(loop().nextDeadline(), Clock::kNever) << operation.keyPath;
    }
}

TEST_F(LWUIAnimationTest, TheLayerMayOutliveTheView) {
    for (const Operation &operation : kOperations) {
        view = UIView::initWithFrame(kFrame);
        operation.start(view.get(), 1, 0);
        const Retained<CALayer> left(view->layer());
        view = nullptr;
        runForSeconds(3);
        EXPECT_FALSE(left->hasAnimations()) << operation.keyPath;
    }
}

TEST_F(LWUIAnimationTest, NothingHappensWithoutAView) {
    for (const Operation &operation : kOperations) {
        operation.start(nullptr, 1, 1);
    }
    LWUIAnimation::setPerspectiveEffectAnimation_duration(nullptr, true, 1);
    LWUIAnimation::setPerspectiveEffectAnimation_duration(nullptr, false, 1);
    const auto animation = CABasicAnimation::animationWithKeyPath("opacity");
    LWUIAnimation::animationDidStop_finished(nullptr, animation.get(), true);
    LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(nullptr, nullptr,
                                                                             nullptr, 1, 1, true);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

// Animations for others.

TEST_F(LWUIAnimationTest, SettingAnAnimationUpLeavesItsDurationAlone) {
    const auto animation = CABasicAnimation::animationWithKeyPath("opacity");
    LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
        view.get(), animation.get(), nullptr, 5, 1, false);
    EXPECT_EQ(animation->duration(), 0);
    EXPECT_EQ(animation->timing().activeDuration(), 0.25);
    animation->setToValue(0.0);
    layer().addAnimation_forKey(animation.get(), "key");
    EXPECT_EQ(shownAfter(0.125).opacity, 0.5F);
    runForSeconds(0.125);
    EXPECT_FALSE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, SettingAnAnimationUpForATargetKeepsIt) {
    const auto target = makeRetained<Target>();
    const auto animation = CABasicAnimation::animationWithKeyPath("opacity");
    for (CAAnimationDelegate *delegate : {static_cast<CAAnimationDelegate *>(target.get()),
                                          static_cast<CAAnimationDelegate *>(nullptr)}) {
        LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
            view.get(), animation.get(), delegate, 5, 7, delegate != nullptr);
        EXPECT_EQ(animation->delegate(), delegate);
        EXPECT_EQ(animation->repeatCount(), 7.0F);
        EXPECT_EQ(animation->autoreverses(), delegate != nullptr);
        EXPECT_EQ(animation->isRemovedOnCompletion(), delegate == nullptr);
    }
}

TEST_F(LWUIAnimationTest, CreatesAnimationsWithoutAddingThem) {
    const auto target = makeRetained<Target>();
    for (const auto &factory : kFactories) {
        const auto animation = factory.create(view.get(), target.get(), 5, 3, true);
        EXPECT_EQ(animation->keyPath(), factory.keyPath);
        EXPECT_EQ(animation->timing().activeDuration(), 1.5);
        EXPECT_EQ(animation->repeatCount(), 3.0F);
        EXPECT_TRUE(animation->autoreverses());
        EXPECT_EQ(animation->delegate(), target.get());
        EXPECT_FALSE(animation->isRemovedOnCompletion());
        EXPECT_EQ(animation->fromValue(), AnimationValue());
        EXPECT_EQ(animation->toValue(), AnimationValue());
        EXPECT_EQ(animation->retainCount(), 1U);
        EXPECT_TRUE(factory.create(nullptr, nullptr, 5, 3, true)->isRemovedOnCompletion());
    }
    EXPECT_FALSE(layer().hasAnimations());
}

TEST_F(LWUIAnimationTest, CreatedAnimationsCountInSinglePrecision) {
    const std::pair<std::uint64_t, float> counts[] = {
        {0, 0.0F},
        {(std::uint64_t{1} << 24) + 1, 16777216.0F},
        {std::numeric_limits<std::uint64_t>::max(), 18446744073709551616.0F}};
    for (const auto &factory : kFactories) {
        for (const auto &[count, expected] : counts) {
            EXPECT_EQ(factory.create(view.get(), nullptr, 1, count, false)->repeatCount(),
                      expected);
        }
    }
}

TEST_F(LWUIAnimationTest, ACreatedAnimationTellsItsTargetAndStays) {
    const auto target = makeRetained<Target>();
    for (const auto &factory : kFactories) {
        const auto animation = factory.create(view.get(), target.get(), 5, 1, false);
        layer().addAnimation_forKey(animation.get(), factory.keyPath);
    }
    runForSeconds(0.25);
    EXPECT_EQ(target->stops, 3);
    for (const auto &factory : kFactories) {
        EXPECT_TRUE(layer().animationForKey(factory.keyPath));
    }
}

TEST_F(LWUIAnimationTest, TheTargetMayGoWhileTheAnimationRuns) {
    auto target = makeRetained<Target>();
    const auto animation = kFactories[1].create(view.get(), target.get(), 5, 1, false);
    layer().addAnimation_forKey(animation.get(), "key");
    runForSeconds(0.125);
    target = nullptr;
    runForSeconds(1);
    EXPECT_EQ(animation->delegate(), nullptr);
}

TEST_F(LWUIAnimationTest, CreatesEmptyGroups) {
    const auto target = makeRetained<Target>();
    const auto group = LWUIAnimation::createAnimationGroupWithTarget(view.get(), target.get());
    EXPECT_TRUE(group->animations().empty());
    EXPECT_EQ(group->delegate(), target.get());
    EXPECT_EQ(group->repeatCount(), 0.0F);
    EXPECT_TRUE(group->isRemovedOnCompletion());
    EXPECT_EQ(LWUIAnimation::createAnimationGroupWithTarget(nullptr, nullptr)->delegate(), nullptr);
}
