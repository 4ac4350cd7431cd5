#include "Tests/Platform/QuartzCore/AnimatedLayerTest.h"

// Which delegates a layer tells of the end of its animations, when, and what these may do.

namespace {

class CAAnimationDelegateTest : public AnimatedLayerTest {
  protected:
    Retained<CABasicAnimation> makeTold(double duration = 1) const {
        auto animation = makeFade(0.0, 0.5, duration);
        animation->setDelegate(listener.get());
        return animation;
    }

    using Stop = AnimationListener::Stop;
    using Stops = std::vector<Stop>;
};

} // namespace

TEST_F(CAAnimationDelegateTest, HearsOfTheEndWhileTheAnimationIsStillUnderItsKey) {
    const auto animation = makeTold();
    add(animation);
    runForSeconds(1 - 1.0 / 512);
    EXPECT_TRUE(listener->stops.empty());
    runForSeconds(1.0 / 512);
    EXPECT_EQ(listener->stops, (Stops{{animation.get(), true, true}}));
    EXPECT_EQ(layer->animationForKey("key"), nullptr);
}

TEST_F(CAAnimationDelegateTest, HearsOfARemovalBeforeIt) {
    const auto animation = makeTold();
    add(animation);
    layer->removeAnimationForKey("key");
    EXPECT_EQ(listener->stops, (Stops{{animation.get(), false, true}}));
    EXPECT_FALSE(layer->hasAnimations());
    EXPECT_EQ(opacity(), 1.0F);
    runForSeconds(2);
    EXPECT_EQ(listener->stops.size(), 1U);
}

TEST_F(CAAnimationDelegateTest, HearsOfTheRemovalOfAll) {
    const auto animation = makeTold();
    const auto second = makeTold();
    add(animation);
    add(second, "second");
    layer->removeAllAnimations();
    EXPECT_EQ(listener->stops,
              (Stops{{animation.get(), false, true}, {second.get(), false, false}}));
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationDelegateTest, HearsOfAReplacementOnceTheNewOneStandsUnderTheKey) {
    const auto first = makeTold();
    const auto second = makeTold();
    add(first);
    runForSeconds(0.5);
    add(second);
    EXPECT_EQ(listener->stops, (Stops{{first.get(), false, false}}));
    EXPECT_EQ(layer->animationForKey("key"), second);
    runForSeconds(1);
    EXPECT_EQ(listener->stops, (Stops{{first.get(), false, false}, {second.get(), true, true}}));
}

TEST_F(CAAnimationDelegateTest, HearsOncePerAdditionOfTheSameAnimation) {
    const auto animation = makeTold();
    add(animation);
    runForSeconds(0.5);
    add(animation);
    EXPECT_EQ(listener->stops, (Stops{{animation.get(), false, true}}));
    EXPECT_EQ(opacity(), 0.0F);
    runForSeconds(1);
    EXPECT_EQ(listener->stops.size(), 2U);
    EXPECT_TRUE(listener->stops[1].isFinished);
}

TEST_F(CAAnimationDelegateTest, AnAnimationThatIsNotRemovedStaysUnderItsKeyButShowsNoMore) {
    const auto animation = makeTold();
    animation->setRemovedOnCompletion(false);
    add(animation);
    EXPECT_EQ(opacityAfter(1), 1.0F);
    EXPECT_EQ(listener->stops, (Stops{{animation.get(), true, true}}));
    EXPECT_EQ(layer->animationForKey("key"), animation);
    layer->removeAnimationForKey("key");
    EXPECT_EQ(layer->animationForKey("key"), nullptr);
    EXPECT_EQ(listener->stops.size(), 1U);
}

TEST_F(CAAnimationDelegateTest, MayRemoveTheAnimation) {
    listener->then = [&] { layer->removeAnimationForKey("key"); };
    add(makeTold());
    runForSeconds(1);
    EXPECT_EQ(listener->stops.size(), 1U);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationDelegateTest, MayRemoveAllWhileAllAreRemoved) {
    listener->then = [&] { layer->removeAllAnimations(); };
    add(makeTold(), "first");
    add(makeTold(), "second");
    add(makeTold(), "third");
    layer->removeAllAnimations();
    EXPECT_EQ(listener->stops.size(), 3U);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationDelegateTest, MayStartTheNextAnimationUnderTheSameKey) {
    const auto next = makeFade(0.25, 0.25);
    listener->then = [&] { add(next); };
    add(makeTold());
    runForSeconds(1);
    EXPECT_EQ(listener->stops.size(), 1U);
    EXPECT_EQ(layer->animationForKey("key"), next);
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    runForSeconds(0.5);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationDelegateTest, MayPutAnotherAnimationInPlaceOfTheOneThatReplacedIts) {
    const auto later = makeFade(0.25, 0.25);
    listener->then = [&] { add(later); };
    add(makeTold());
    add(makeFade(0.75, 0.75));
    EXPECT_EQ(layer->animationForKey("key"), later);
    EXPECT_EQ(opacity(), 0.25F);
}

TEST_F(CAAnimationDelegateTest, AStubbornOneHasItsWayButNotForEver) {
    Retained<CABasicAnimation> latest;
    listener->then = [&] {
        latest = makeTold();
        add(latest);
    };
    add(makeTold());
    add(makeTold());
    EXPECT_EQ(layer->animationForKey("key"), latest);
    EXPECT_EQ(listener->stops.size(), 8U);
    listener->then = nullptr;
}

TEST_F(CAAnimationDelegateTest, HearsNothingMoreOfAnEndedAnimationThatIsReplaced) {
    const auto animation = makeTold();
    animation->setRemovedOnCompletion(false);
    add(animation);
    runForSeconds(1);
    add(makeFade(0.25, 0.25));
    EXPECT_EQ(listener->stops, (Stops{{animation.get(), true, true}}));
}

TEST_F(CAAnimationDelegateTest, MayDropTheLayer) {
    add(makeTold());
    listener->then = [&] { layer = nullptr; };
    runForSeconds(1);
    EXPECT_EQ(listener->stops.size(), 1U);
    EXPECT_EQ(layer, nullptr);
}

TEST_F(CAAnimationDelegateTest, MayDropTheLayerWhileItIsAskedToRemove) {
    add(makeTold());
    add(makeTold(), "second");
    listener->then = [&] { layer = nullptr; };
    layer->removeAllAnimations();
    EXPECT_EQ(listener->stops.size(), 2U);
}

TEST_F(CAAnimationDelegateTest, IsNotKeptAliveByTheAnimation) {
    const auto animation = makeTold();
    add(animation);
    EXPECT_EQ(listener->retainCount(), 1U);
    listener = nullptr;
    EXPECT_EQ(animation->delegate(), nullptr);
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    runForSeconds(0.5);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationDelegateTest, TheLayersDeathEndsItsAnimationsInSilence) {
    const auto animation = makeTold();
    const auto waiting = makeTold();
    waiting->setBeginTime(CACurrentMediaTime() + 1);
    add(animation);
    add(waiting, "waiting");
    layer = nullptr;
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    EXPECT_EQ(animation->retainCount(), 1U);
    EXPECT_TRUE(listener->stops.empty());
}

TEST_F(CAAnimationDelegateTest, LeavesNoCallBehindWhenItIsRemoved) {
    const auto animation = makeTold();
    animation->setBeginTime(CACurrentMediaTime() + 1);
    add(animation);
    EXPECT_NE(loop().nextDeadline(), Clock::kNever);
    layer->removeAnimationForKey("key");
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}
