#include "Host/Playing/WallpaperStage.h"

#include "Tests/Support/SimulatedTime.h"

namespace {

using Lumivera::AnimationSwitch;

/// A view that starts its own animation and counts its frames.
class CountingView final : public DeskTopView {
  public:
    CountingView() : DeskTopView(CGRectMake(0, 0, 10, 10)) {}

    void initResource() override { startAnimating(); }
    void doAnimating() override { ++_frames; }
    int frames() const { return _frames; }

  private:
    ~CountingView() override = default;

    int _frames = 0;
};

class AnimationSwitchTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        loop().setObservers(nullptr, nullptr);
        // A view that is not loaded yet would start later.
        runForSeconds(0.6);
        _view->stopAnimating();
        SimulatedTimeTest::TearDown();
    }

    /// How many frames the next second has.
    int framesInOneSecond() {
        const int before = _view->frames();
        runForSeconds(1);
        return _view->frames() - before;
    }

    Retained<CountingView> _view = makeRetained<CountingView>();
    AnimationSwitch _switch{_view};
    LogRecorder _log;
};

TEST_F(AnimationSwitchTest, LeavesAViewAloneThatHasNotBegunByItself) {
    _switch.setRunning(true);
    runForSeconds(0.4);
    EXPECT_FALSE(_view->isAnimating());
}

TEST_F(AnimationSwitchTest, PausesAViewThatBeginsWhileItShouldNotRun) {
    _switch.setRunning(false);
    loop().setObservers(nullptr, [this] { _switch.update(); });
    runForSeconds(1);
    EXPECT_EQ(_view->frames(), 1);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_F(AnimationSwitchTest, NeverRunsTwoLoopsAfterAPauseAndAResumeAtOnce) {
    runForSeconds(1.01);
    _switch.setRunning(false);
    _switch.setRunning(true);
    runForSeconds(0.1);
    EXPECT_EQ(_view->operationQueue().operationCount(), 1u);
    EXPECT_EQ(framesInOneSecond(), 40);
}

TEST_F(AnimationSwitchTest, TellsTheCarefulWayFromTheCarelessOne) {
    runForSeconds(1.01);
    _view->pauseAnimating();
    _view->resumeAnimating();
    runForSeconds(0.1);
    EXPECT_EQ(framesInOneSecond(), 80);
}

TEST_F(AnimationSwitchTest, EndsPausedAfterManyChangesThatEndWithAPause) {
    runForSeconds(1.01);
    for (int i = 0; i < 5; ++i) {
        _switch.setRunning(false);
        _switch.setRunning(true);
    }
    _switch.setRunning(false);
    runForSeconds(0.1);
    EXPECT_EQ(framesInOneSecond(), 0);
    EXPECT_EQ(_view->operationQueue().operationCount(), 0u);
}

TEST_F(AnimationSwitchTest, WaitsForNothingOnceThePausedLoopHasEnded) {
    runForSeconds(1);
    _switch.setRunning(false);
    runForSeconds(0.1);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

} // namespace
