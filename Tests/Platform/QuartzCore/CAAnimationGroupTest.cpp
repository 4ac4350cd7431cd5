#include "Tests/Platform/QuartzCore/AnimatedLayerTest.h"

namespace {

class CAAnimationGroupTest : public AnimatedLayerTest {
  protected:
    void addGroup(std::vector<Retained<CAAnimation>> members, double duration = 1) {
        group->setAnimations(std::move(members));
        group->setDuration(duration);
        layer->addAnimation_forKey(group.get(), "key");
    }

    static Retained<CABasicAnimation> makeMove(double duration = 1) {
        return make("position", CGPoint{0, 0}, CGPoint{8, 16}, duration);
    }

    Retained<CAAnimationGroup> group = CAAnimationGroup::animation();
};

} // namespace

TEST_F(CAAnimationGroupTest, IsEmptyAtFirstAndLeavesOutNulls) {
    EXPECT_TRUE(group->animations().empty());
    const auto fade = makeFade(0.0, 1.0);
    group->setAnimations({nullptr, fade, nullptr});
    ASSERT_EQ(group->animations().size(), 1U);
    EXPECT_EQ(group->animations()[0], fade.get());
}

TEST_F(CAAnimationGroupTest, RunsItsMembersSideBySide) {
    addGroup({makeFade(0.0, 1.0), makeMove()});
    EXPECT_EQ(opacityAfter(0.25), 0.25F);
    EXPECT_EQ(shown().position, (CGPoint{2, 4}));
    runForSeconds(0.75);
    EXPECT_EQ(shown(), LayerValues());
}

TEST_F(CAAnimationGroupTest, CutsOffWhatLastsLonger) {
    group->setDelegate(listener.get());
    addGroup({makeFade(0.0, 1.0, 4)});
    EXPECT_EQ(opacityAfter(0.75), 0.1875F);
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_EQ(listener->stops.size(), 1U);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationGroupTest, LastsAQuarterOfASecondWhenNoDurationIsSet) {
    addGroup({makeFade(0.0, 1.0, 1)}, 0);
    EXPECT_EQ(opacityAfter(0.125), 0.125F);
    EXPECT_EQ(opacityAfter(0.125), 1.0F);
}

TEST_F(CAAnimationGroupTest, WhatIsShorterShowsNoMoreWhenItIsOver) {
    addGroup({makeFade(0.0, 0.5, 0.25), makeMove()});
    EXPECT_EQ(opacityAfter(0.125), 0.25F);
    EXPECT_EQ(opacityAfter(0.125), 1.0F);
    EXPECT_EQ(shown().position, (CGPoint{2, 4}));
}

TEST_F(CAAnimationGroupTest, MembersRepeatAndGoBackByThemselves) {
    const auto fade = makeFade(0.0, 1.0, 0.25);
    fade->setAutoreverses(true);
    fade->setRepeatCount(2);
    addGroup({fade});
    EXPECT_EQ(opacityAfter(0.375), 0.5F);
    EXPECT_EQ(opacityAfter(0.25), 0.5F);
    EXPECT_EQ(opacityAfter(0.3125), 0.25F);
}

TEST_F(CAAnimationGroupTest, MembersBeginInTheGroupsTime) {
    const auto fade = makeFade(0.0, 0.5, 0.5);
    fade->setBeginTime(0.5);
    addGroup({fade});
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_EQ(opacityAfter(0.25), 0.0F);
    EXPECT_EQ(opacityAfter(0.25), 0.25F);
}

TEST_F(CAAnimationGroupTest, RepeatsAndGoesBackWithItsMembers) {
    group->setAutoreverses(true);
    group->setRepeatCount(1.5F);
    addGroup({makeFade(0.0, 1.0)});
    EXPECT_EQ(opacityAfter(0.25), 0.25F);
    EXPECT_NEAR(opacityAfter(0.75), 1, 1e-7);
    EXPECT_EQ(opacityAfter(0.25), 0.75F);
    EXPECT_EQ(opacityAfter(1), 0.25F);
    EXPECT_EQ(opacityAfter(0.5), 0.75F);
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_FALSE(layer->hasAnimations());
}

TEST_F(CAAnimationGroupTest, TheLaterMemberShows) {
    addGroup({makeFade(0.0, 0.0), makeFade(0.5, 0.5)});
    EXPECT_EQ(opacity(), 0.5F);
}

TEST_F(CAAnimationGroupTest, TellsItsOwnDelegateAlone) {
    const auto silent = makeRetained<AnimationListener>(*layer);
    const auto fade = makeFade(0.0, 1.0, 0.5);
    fade->setDelegate(silent.get());
    group->setDelegate(listener.get());
    addGroup({fade});
    runForSeconds(1);
    EXPECT_TRUE(silent->stops.empty());
    EXPECT_EQ(listener->stops, (std::vector<AnimationListener::Stop>{{group.get(), true, true}}));
}

TEST_F(CAAnimationGroupTest, MembersTakeTheirMissingValuesFromTheLayer) {
    layer->setOpacity(0.5F);
    nextCallOut();
    layer->setPosition({8, 8});
    addGroup({makeFade(kNone, 0.0), make("position", kNone, kNone)});
    EXPECT_EQ(opacity(), 0.5F);
    EXPECT_EQ(shown().position, (CGPoint{0, 0}));
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    EXPECT_EQ(shown().position, (CGPoint{4, 4}));
}

TEST_F(CAAnimationGroupTest, MayHoldGroups) {
    const auto inner = CAAnimationGroup::animation();
    inner->setDuration(0.5);
    inner->setAnimations({makeFade(0.0, 1.0)});
    addGroup({inner});
    EXPECT_EQ(opacityAfter(0.25), 0.25F);
    EXPECT_EQ(opacityAfter(0.25), 1.0F);
    EXPECT_TRUE(layer->hasAnimations());
}

TEST_F(CAAnimationGroupTest, OneThatHoldsItselfDoesNoHarm) {
    addGroup({group, makeFade(0.0, 0.5)});
    EXPECT_EQ(opacityAfter(0.5), 0.25F);
    runForSeconds(0.5);
    EXPECT_FALSE(layer->hasAnimations());
    group->setAnimations({});
}

TEST_F(CAAnimationGroupTest, ShowsNothingOfGroupsThatAreTooDeep) {
    Retained<CAAnimation> innermost = makeFade(0.0, 0.0);
    for (int depth = 0; depth < CAAnimationGroup::kMaxDepth - 1; ++depth) {
        const auto outer = CAAnimationGroup::animation();
        outer->setDuration(1);
        outer->setAnimations({innermost});
        innermost = outer;
    }
    addGroup({innermost});
    EXPECT_EQ(opacity(), 0.0F);
    const auto outer = CAAnimationGroup::animation();
    outer->setDuration(1);
    outer->setAnimations({innermost});
    addGroup({outer});
    EXPECT_EQ(opacity(), 1.0F);
}
