#include "Tests/Platform/QuartzCore/AnimatedLayerTest.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using std::numbers::pi;

using CALayerAnimationTest = AnimatedLayerTest;

} // namespace

TEST_F(CALayerAnimationTest, GoesEvenlyFromOneValueToTheOther) {
    add(makeFade(0.25, 0.75));
    EXPECT_EQ(opacity(), 0.25F);
    EXPECT_EQ(opacityAfter(0.25), 0.375F);
    EXPECT_EQ(opacityAfter(0.25), 0.5F);
    EXPECT_EQ(opacityAfter(0.5 - 1.0 / 512), 0.75F - 0.5F / 512);
}

TEST_F(CALayerAnimationTest, ShowsTheLayersOwnValueAgainFromItsEndOn) {
    add(makeFade(0.25, 0.75));
    EXPECT_EQ(opacityAfter(1), 1.0F);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, LeavesTheLayersOwnValuesAlone) {
    add(makeFade(0.25, 0.75));
    runForSeconds(0.5);
    EXPECT_EQ(layer->opacity(), 1.0F);
    EXPECT_EQ(shown().transform, CATransform3DIdentity);
}

TEST_F(CALayerAnimationTest, WithoutAToValueGoesToTheLayersOwnOne) {
    layer->setOpacity(0.5F);
    nextCallOut();
    add(makeFade(0.0, kNone));
    EXPECT_EQ(opacity(), 0.0F);
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    layer->setOpacity(1);
    EXPECT_EQ(opacity(), 0.5F);
    EXPECT_EQ(opacityAfter(0.25), 0.75F);
}

TEST_F(CALayerAnimationTest, WithoutAFromValueStartsAtWhatIsShown) {
    layer->setOpacity(0.5F);
    add(makeFade(kNone, 0.0));
    EXPECT_EQ(opacity(), 0.5F);
    EXPECT_EQ(opacityAfter(0.25), 0.375F);
    add(makeFade(kNone, 1.0), "another");
    EXPECT_EQ(opacity(), 0.375F);
    EXPECT_EQ(opacityAfter(0.5), 0.6875F);
}

TEST_F(CALayerAnimationTest, WithNeitherValueShowsAChangeThatWasJustMade) {
    layer->setOpacity(0.5F);
    layer->setOpacity(0);
    add(makeFade(kNone, kNone));
    EXPECT_EQ(opacity(), 1.0F);
    EXPECT_EQ(opacityAfter(0.25), 0.75F);
    EXPECT_EQ(opacityAfter(0.75), 0.0F);
}

TEST_F(CALayerAnimationTest, WithNeitherValueShowsNothingOfAnEarlierChange) {
    layer->setOpacity(0);
    nextCallOut();
    add(makeFade(kNone, kNone));
    EXPECT_EQ(opacity(), 0.0F);
    EXPECT_EQ(opacityAfter(0.5), 0.0F);
}

TEST_F(CALayerAnimationTest, WithNeitherValueGoesOnFromWhatAnotherAnimationShowed) {
    add(makeFade(0.0, 1.0));
    runForSeconds(0.25);
    nextCallOut();
    layer->setOpacity(0.75F);
    add(makeFade(kNone, kNone));
    EXPECT_EQ(opacity(), 0.25F);
    EXPECT_EQ(opacityAfter(0.5), 0.5F);
}

TEST_F(CALayerAnimationTest, KnowsWhatWasShownBeforeAnAnimationThatHasJustEnded) {
    add(makeFade(0.0, 0.5), "first");
    runForSeconds(1);
    layer->setOpacity(0);
    add(makeFade(kNone, kNone));
    EXPECT_EQ(opacity(), 1.0F);
    EXPECT_EQ(opacityAfter(0.5), 0.5F);
}

TEST_F(CALayerAnimationTest, ForgetsAChangeAfterManyOthers) {
    const auto others = makeRetained<CALayer>();
    layer->setOpacity(0);
    for (std::uint64_t i = 0; i < LayerChanges::kMaxKept; ++i) {
        others->setPosition({static_cast<CGFloat>(i) + 1, 0});
    }
    add(makeFade(kNone, kNone));
    EXPECT_EQ(opacity(), 0.0F);
}

TEST_F(CALayerAnimationTest, TellsChangesOfOneLayerFromThoseOfOthers) {
    const auto other = makeRetained<CALayer>();
    other->setOpacity(0.25F);
    layer->setOpacity(0.5F);
    other->setOpacity(0);
    layer->setPosition({8, 4});
    layer->setBounds(CGRectMake(0, 0, 2, 4));
    layer->setTransform(CATransform3DMakeScale(3, 3, 3));
    layer->setSublayerTransform(CATransform3DMakeScale(5, 5, 5));
    for (const char *keyPath :
         {"opacity", "position", "bounds", "transform", "sublayerTransform"}) {
        add(make(keyPath, kNone, kNone), keyPath);
    }
    EXPECT_EQ(shown(), LayerValues());
    runForSeconds(0.5);
    EXPECT_EQ(opacity(), 0.75F);
    EXPECT_EQ(shown().position, (CGPoint{4, 2}));
    EXPECT_EQ(shown().bounds, CGRectMake(0, 0, 1, 2));
    EXPECT_EQ(shown().transform, CATransform3DMakeScale(2, 2, 2));
    EXPECT_EQ(shown().sublayerTransform, CATransform3DMakeScale(3, 3, 3));
}

TEST_F(CALayerAnimationTest, AnimatesEveryKeyPath) {
    add(make("position", CGPoint{0, 0}, CGPoint{8, 16}), "1");
    add(make("bounds", CGRectMake(0, 0, 4, 4), CGRectMake(4, 8, 12, 20)), "2");
    add(make("transform.translation", CGPoint{0, 0}, CGPoint{100, -100}), "3");
    add(make("transform.scale", 1.0, 3.0), "4");
    add(make("sublayerTransform.rotation.x", 0.0, pi), "5");
    runForSeconds(0.25);
    EXPECT_EQ(shown().position, (CGPoint{2, 4}));
    EXPECT_EQ(shown().bounds, CGRectMake(1, 2, 6, 8));
    EXPECT_EQ(shown().transform, CATransform3DConcat(CATransform3DMakeScale(1.5, 1.5, 1.5),
                                                     CATransform3DMakeTranslation(25, -25, 0)));
    EXPECT_NEAR(shown().sublayerTransform.m22, std::cos(pi / 4), 1e-15);
    EXPECT_NEAR(shown().sublayerTransform.m23, std::sin(pi / 4), 1e-15);
    add(make("transform.rotation", 0.0, pi / 2), "6");
    runForSeconds(0.5);
    EXPECT_NEAR(shown().transform.m11, 2.5 * std::cos(pi / 4), 1e-12);
    EXPECT_NEAR(shown().transform.m12, 2.5 * std::sin(pi / 4), 1e-12);
    EXPECT_EQ(shown().transform.m41, 75);
}

TEST_F(CALayerAnimationTest, TurnsAsFarAsItIsTold) {
    add(make("transform.rotation.z", 0.0, 4 * pi));
    runForSeconds(0.0625);
    EXPECT_NEAR(shown().transform.m12, 1 / std::sqrt(2), 1e-12);
    runForSeconds(0.0625);
    EXPECT_NEAR(shown().transform.m12, 1, 1e-12);
}

TEST_F(CALayerAnimationTest, TurnsTheShortWayWhenItIsNotTold) {
    layer->setTransform(CATransform3DMakeRotation(0.9 * pi, 0, 0, 1));
    nextCallOut();
    layer->setTransform(CATransform3DMakeRotation(-0.9 * pi, 0, 0, 1));
    add(make("transform.rotation", kNone, kNone));
    runForSeconds(0.5);
    EXPECT_NEAR(shown().transform.m11, -1, 1e-12);
    EXPECT_NEAR(shown().transform.m12, 0, 1e-12);
}

TEST_F(CALayerAnimationTest, WhatIsNoKeyPathOrOfAnotherTypeShowsNothingButEnds) {
    int keys = 0;
    for (const auto &animation :
         {make("colour", 0.0, 1.0), make("opacity", CGPoint{0, 0}, kNone),
          make("opacity", 0.0, CGPoint{0, 0}), make("position", 0.0, 1.0)}) {
        animation->setDelegate(listener.get());
        add(animation, std::to_string(++keys).c_str());
    }
    runForSeconds(0.5);
    EXPECT_EQ(shown(), LayerValues());
    EXPECT_TRUE(layer->hasAnimations());
    runForSeconds(0.5);
    EXPECT_EQ(listener->stops.size(), 4U);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, OfTwoThatChangeTheSameTheLaterShows) {
    add(makeFade(0.0, 0.0, 2), "first");
    add(makeFade(0.5, 0.5, 1), "second");
    EXPECT_EQ(opacity(), 0.5F);
    EXPECT_EQ(opacityAfter(1), 0.0F);
    EXPECT_EQ(opacityAfter(1), 1.0F);
}

TEST_F(CALayerAnimationTest, LastsAQuarterOfASecondWhenNoDurationIsSet) {
    const auto animation = makeFade(0.0, 1.0, 0);
    animation->setDelegate(listener.get());
    add(animation);
    EXPECT_EQ(opacityAfter(0.125), 0.5F);
    EXPECT_TRUE(listener->stops.empty());
    EXPECT_EQ(opacityAfter(0.125), 1.0F);
    EXPECT_EQ(listener->stops.size(), 1U);
}

TEST_F(CALayerAnimationTest, RepeatsAndGoesBack) {
    const auto animation = makeFade(0.0, 0.5);
    animation->setRepeatCount(2.25F);
    animation->setAutoreverses(true);
    animation->setDelegate(listener.get());
    add(animation);
    EXPECT_EQ(opacityAfter(1), 0.5F);
    EXPECT_EQ(opacityAfter(0.75), 0.125F);
    EXPECT_EQ(opacityAfter(0.25), 0.0F);
    EXPECT_EQ(opacityAfter(2.25), 0.125F);
    EXPECT_TRUE(listener->stops.empty());
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_EQ(listener->stops.size(), 1U);
}

TEST_F(CALayerAnimationTest, MayGoOnForEver) {
    const auto animation = makeFade(0.0, 1.0);
    animation->setRepeatCount(std::numeric_limits<float>::infinity());
    animation->setDelegate(listener.get());
    add(animation);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    EXPECT_EQ(opacityAfter(1e6 + 0.25), 0.25F);
    EXPECT_TRUE(listener->stops.empty());
}

TEST_F(CALayerAnimationTest, ShowsNothingBeforeItsBeginTime) {
    const auto animation = makeFade(0.0, 0.5);
    animation->setBeginTime(CACurrentMediaTime() + 2);
    add(animation);
    layer->didComposite();
    EXPECT_EQ(opacityAfter(2 - 1.0 / 512), 1.0F);
    EXPECT_FALSE(layer->needsComposite());
    EXPECT_EQ(opacityAfter(1.0 / 512), 0.0F);
    EXPECT_TRUE(layer->needsComposite());
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    EXPECT_EQ(opacityAfter(0.5), 1.0F);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, MayHaveBegunAlready) {
    const auto animation = makeFade(0.0, 1.0);
    animation->setBeginTime(CACurrentMediaTime() - 0.75);
    add(animation);
    EXPECT_EQ(opacity(), 0.75F);
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, MayBeOverAlready) {
    const auto animation = makeFade(0.0, 0.5);
    animation->setBeginTime(CACurrentMediaTime() - 2);
    animation->setDelegate(listener.get());
    add(animation);
    EXPECT_EQ(opacity(), 1.0F);
    EXPECT_TRUE(listener->stops.empty());
    runForSeconds(0);
    EXPECT_EQ(listener->stops.size(), 1U);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, RunsAsItWasWhenItWasAdded) {
    const auto animation = makeFade(0.0, 1.0);
    add(animation);
    animation->setDuration(100);
    animation->setFromValue(0.5);
    animation->setRepeatCount(9);
    EXPECT_EQ(opacityAfter(0.25), 0.25F);
    runForSeconds(0.75);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CALayerAnimationTest, MayRunOnSeveralLayersAtOnce) {
    const auto other = makeRetained<CALayer>();
    const auto animation = makeFade(0.0, 1.0);
    add(animation);
    runForSeconds(0.5);
    other->addAnimation_forKey(animation.get(), "key");
    EXPECT_EQ(opacity(), 0.5F);
    EXPECT_EQ(other->presentationAt(CACurrentMediaTime()).opacity, 0.0F);
    runForSeconds(0.5);
    EXPECT_FALSE(layer->hasAnimations());
    EXPECT_EQ(other->animationForKey("key"), animation);
}

TEST_F(CALayerAnimationTest, IgnoresNullAndKeysThatNobodyUses) {
    layer->addAnimation_forKey(nullptr, "key");
    layer->removeAnimationForKey("key");
    layer->removeAllAnimations();
    EXPECT_FALSE(layer->hasAnimations());
    EXPECT_EQ(layer->animationForKey("key"), nullptr);
}

TEST_F(CALayerAnimationTest, GivesBackTheVeryObjectUnderItsKey) {
    const auto animation = makeFade(0.0, 1.0);
    add(animation);
    EXPECT_EQ(layer->animationForKey("key"), animation);
    EXPECT_EQ(layer->animationForKey("other"), nullptr);
    EXPECT_EQ(layer->animationForKey(""), nullptr);
}

TEST_F(CALayerAnimationTest, ChangesWhatThereIsToDrawWhenItIsAddedAndWhenItGoes) {
    layer->didComposite();
    add(makeFade(0.0, 1.0));
    EXPECT_TRUE(layer->needsComposite());
    layer->didComposite();
    runForSeconds(0.5);
    EXPECT_FALSE(layer->needsComposite());
    runForSeconds(0.5);
    EXPECT_TRUE(layer->needsComposite());
    add(makeFade(0.0, 1.0));
    layer->didComposite();
    layer->removeAnimationForKey("key");
    EXPECT_TRUE(layer->needsComposite());
}

TEST_F(CALayerAnimationTest, ALayerKnowsWhetherItHasAnimations) {
    EXPECT_FALSE(layer->hasAnimations());
    add(makeFade(0.0, 1.0));
    add(makeFade(0.0, 1.0, 0.5), "shorter");
    EXPECT_TRUE(layer->hasAnimations());
    runForSeconds(0.5);
    EXPECT_TRUE(layer->hasAnimations());
    layer->removeAnimationForKey("key");
    EXPECT_FALSE(layer->hasAnimations());
    EXPECT_FALSE(layer->hasAnimationsInPlace());
}

TEST_F(CALayerAnimationTest, AnotherThreadsAnimationsComeToTheMainThread) {
    const auto animation = makeFade(0.0, 1.0);
    NSThread::detachNewThread(layer.get(), [&] {
        layer->addAnimation_forKey(animation.get(), "key");
        layer->addAnimation_forKey(animation.get(), "removed");
        layer->removeAnimationForKey("removed");
    });
    EXPECT_TRUE(runUntil([&] { return layer->hasAnimations(); }, 1));
    runForSeconds(0);
    EXPECT_EQ(layer->animationForKey("key"), animation);
    EXPECT_EQ(layer->animationForKey("removed"), nullptr);
}
