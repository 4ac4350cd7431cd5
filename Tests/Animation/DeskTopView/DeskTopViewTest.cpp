#include "Animation/DeskTopView/DeskTopView.h"

#include "Tests/Animation/Support/Pictures.h"
#include "Tests/Animation/Support/RecordingView.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string_view>

namespace {

constexpr CGRect kFrame = CGRectMake(10, 20, 320, 480);

class DeskTopViewTest : public SimulatedTimeTest {
  protected:
    DeskTopView &view() { return *_view; }

  private:
    Retained<DeskTopView> _view = DeskTopView::initWithFrame(kFrame);
};

TEST_F(DeskTopViewTest, HasEmptyNameAndVersion) {
    EXPECT_EQ(std::string_view(DeskTopView::name()), "");
    EXPECT_EQ(std::string_view(DeskTopView::version()), "");
}

TEST_F(DeskTopViewTest, ClipsAndDoesNotScroll) {
    EXPECT_TRUE(view().clipsToBounds());
    EXPECT_FALSE(view().showsVerticalScrollIndicator());
    EXPECT_FALSE(view().showsHorizontalScrollIndicator());
    EXPECT_FALSE(view().bounces());
    EXPECT_FALSE(view().isScrollEnabled());
    EXPECT_EQ(view().autoresizingMask(), 18u);
    EXPECT_EQ(view().layer()->backgroundColor().alpha, 0.0);
}

TEST_F(DeskTopViewTest, IsFilledByABackgroundThatCoversItInProportion) {
    UIImageView *const background = view().bgView();
    ASSERT_EQ(view().subviewCount(), 1u);
    EXPECT_EQ(view().subviewAtIndex(0), background);
    EXPECT_EQ(background->frame(), CGRectMake(0, 0, 320, 480));
    EXPECT_TRUE(background->isUserInteractionEnabled());
    EXPECT_EQ(background->autoresizingMask(), 18u);
    EXPECT_EQ(background->contentMode(), 2);
    EXPECT_FALSE(background->image());
}

TEST_F(DeskTopViewTest, StartsWithPlainValues) {
    EXPECT_EQ(view().frame(), kFrame);
    EXPECT_EQ(view().scale(), 1.0);
    EXPECT_EQ(view().offset(), 0.0);
    EXPECT_EQ(view().tapClipRect(), CGRectMake(0, 0, 320, 480));
    EXPECT_EQ(view().speedLevel(), 0);
    EXPECT_FALSE(view().isAnimating());
    EXPECT_EQ(view().destTopViewDelegate(), nullptr);
    EXPECT_EQ(view().operationQueue().operationCount(), 0u);
    EXPECT_FALSE(view().operationQueue().isSuspended());
}

TEST_F(DeskTopViewTest, StoresWhatTheHostSets) {
    struct Delegate : DeskTopViewDelegate {
    } delegate;
    view().setDestTopViewDelegate(&delegate);
    view().setOffset(12.5);
    view().setSpeedLevel(-3);
    view().setTapClipRect(CGRectMake(1, 2, 3, 4));
    EXPECT_EQ(view().destTopViewDelegate(), &delegate);
    EXPECT_EQ(view().offset(), 12.5);
    EXPECT_EQ(view().speedLevel(), -3);
    EXPECT_EQ(view().tapClipRect(), CGRectMake(1, 2, 3, 4));
}

TEST_F(DeskTopViewTest, HasHooksThatDoNothing) {
    view().initResource();
    view().doAnimating();
    view().scrollingDidFinish(1);
    view().tapActionAtViewPoint({1, 2});
    view().gestureAction_atPoint(2, {1, 2});
    view().openSettingMenu();
    EXPECT_FALSE(view().isAnimating());
    EXPECT_EQ(view().subviewCount(), 1u);
}

TEST_F(DeskTopViewTest, TakesTapsInItsNewBoundsAfterItsFrameWasSet) {
    view().setTapClipRect(CGRect());
    view().setFrame(CGRectMake(5, 6, 700, 800));
    EXPECT_EQ(view().frame(), CGRectMake(5, 6, 700, 800));
    EXPECT_EQ(view().tapClipRect(), CGRectMake(0, 0, 700, 800));
    EXPECT_EQ(view().bgView()->frame(), CGRectMake(0, 0, 700, 800));
}

TEST_F(DeskTopViewTest, KeepsOriginAndBoundsWhenItIsScaled) {
    view().setTapClipRect(CGRect());
    for (const CGFloat scale : {0.5, 2.0, 1.0 / 3.0, 0.1, 1.0}) {
        view().setScale(scale);
        EXPECT_EQ(view().scale(), scale);
        EXPECT_EQ(view().layer()->transform(), CATransform3DMakeScale(scale, scale, 1.0));
        EXPECT_EQ(view().bounds(), CGRectMake(0, 0, 320, 480)) << scale;
        EXPECT_NEAR(view().frame().origin.x, 10, 1e-12);
        EXPECT_NEAR(view().frame().origin.y, 20, 1e-12);
        EXPECT_EQ(view().frame().size, CGSizeMake(scale * 320, scale * 480));
        EXPECT_EQ(view().tapClipRect(), CGRectMake(0, 0, 320, 480));
    }
}

TEST_F(DeskTopViewTest, SurvivesAScaleOfZero) {
    view().setScale(0);
    EXPECT_EQ(view().frame(), CGRectMake(10, 20, 0, 0));
    EXPECT_EQ(view().bounds(), CGRectMake(0, 0, 320, 480));
    view().setScale(1);
    EXPECT_EQ(view().frame(), kFrame);
}

TEST_F(DeskTopViewTest, ShowsANewBackgroundAtItsScaleWithItsOriginUnchanged) {
    view().setScale(0.5);
    const CGRect frame = view().frame();
    const auto picture = pictureOfSize(8, 6);
    view().setBackgroundImage(picture);
    EXPECT_EQ(view().bgView()->image(), picture);
    EXPECT_EQ(view().scale(), 0.5);
    EXPECT_EQ(view().frame(), frame);
    EXPECT_EQ(view().frame(), CGRectMake(10, 20, 160, 240));
}

TEST_F(DeskTopViewTest, AppliesItsScaleAgainWithANewBackground) {
    view().setScale(0.5);
    view().layer()->setTransform(CATransform3DIdentity);
    view().setBackgroundImage(nullptr);
    EXPECT_EQ(view().layer()->transform(), CATransform3DMakeScale(0.5, 0.5, 1.0));
    EXPECT_FALSE(view().bgView()->image());
}

TEST_F(DeskTopViewTest, LetsTimeComeAtFirstAndThenAfterMoreThanTheInterval) {
    EXPECT_TRUE(view().timeComeWithInterval(0.5));
    EXPECT_FALSE(view().timeComeWithInterval(0.5));
    runForSeconds(0.5);
    EXPECT_FALSE(view().timeComeWithInterval(0.5)) << "exactly the interval is not more";
    runForSeconds(0.25);
    EXPECT_TRUE(view().timeComeWithInterval(0.5)) << "a refusal does not count";
    runForSeconds(0.25);
    EXPECT_FALSE(view().timeComeWithInterval(0.5));
}

TEST_F(DeskTopViewTest, LetsTimeComeWheneverTheClockAdvancedForAnIntervalOfZero) {
    EXPECT_TRUE(view().timeComeWithInterval(0));
    EXPECT_FALSE(view().timeComeWithInterval(0));
    for (int turn = 0; turn < 5; ++turn) {
        runForSeconds(0.001);
        EXPECT_TRUE(view().timeComeWithInterval(0));
    }
}

TEST_F(DeskTopViewTest, NeverLetsTimeComeForAnInfiniteInterval) {
    EXPECT_FALSE(view().timeComeWithInterval(std::numeric_limits<double>::infinity()));
}

TEST_F(DeskTopViewTest, NeverLetsTimeComeForAnIntervalThatIsNoNumber) {
    EXPECT_FALSE(view().timeComeWithInterval(std::nan("")));
    EXPECT_TRUE(view().timeComeWithInterval(0)) << "nothing was kept of it";
}

TEST_F(DeskTopViewTest, KeepsOneTimeForEachView) {
    const auto other = DeskTopView::initWithFrame(kFrame);
    EXPECT_TRUE(view().timeComeWithInterval(10));
    EXPECT_TRUE(other->timeComeWithInterval(10));
}

class DeskTopViewLoading : public SimulatedTimeTest {};

TEST_F(DeskTopViewLoading, BeginsHalfASecondAfterCreationOnAThreadOfItsOwnOnce) {
    Recording recording;
    const auto view = makeRetained<RecordingView>(kFrame, recording);
    runForSeconds(0.499999999);
    EXPECT_EQ(recording.loadings, 0);
    runForSeconds(0.000000001);
    runForSeconds(0);
    runMainLoopUntilIdle();
    EXPECT_EQ(recording.loadings, 1);
    EXPECT_EQ(recording.loadedAt - SimulatedClock::kStart, 500'000'000);
    EXPECT_FALSE(recording.loadedOnMainThread);
    runForSeconds(60);
    EXPECT_EQ(recording.loadings, 1);
}

TEST_F(DeskTopViewLoading, DoesNotStartTheClock) {
    Recording recording;
    const auto view = makeRetained<RecordingView>(kFrame, recording);
    runForSeconds(5);
    EXPECT_FALSE(view->isAnimating());
    EXPECT_TRUE(recording.frames.empty());
}

TEST_F(DeskTopViewLoading, StillHappensOnceWhenTheViewIsDroppedBeforeAndIsItsLastAct) {
    const LogRecorder log;
    Recording recording;
    auto view = makeRetained<RecordingView>(kFrame, recording);
    runForSeconds(0.1);
    view = nullptr;
    runForSeconds(0.3);
    EXPECT_EQ(recording.destructions, 0);
    runForSeconds(0.2);
    EXPECT_EQ(recording.loadings, 1);
    EXPECT_EQ(recording.destructions, 1);
    EXPECT_TRUE(recording.diedOnMainThread);
    EXPECT_THAT(log.lines(), testing::ElementsAre("=========DeskTopView dealloc========="));
}

} // namespace
