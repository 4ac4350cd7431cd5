#include "Tests/Animation/Support/RecordingView.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

constexpr Clock::Nanoseconds kMillisecond = 1'000'000;

/// A view at whose frames a test looks, and time from the start of its animation.
class DeskTopViewLoop : public SimulatedTimeTest {
  protected:
    DeskTopViewLoop() { runForSeconds(1); }

    void TearDown() override {
        _view = nullptr;
        SimulatedTimeTest::TearDown();
    }

    /// The frames' times so far, in milliseconds since the animation was started.
    std::vector<double> frameTimes() const {
        std::vector<double> times;
        for (const Clock::Nanoseconds frame : _recording.frames) {
            times.push_back(static_cast<double>(frame - _start) / kMillisecond);
        }
        return times;
    }

    void start() {
        _start = Clock::current().now();
        _view->startAnimating();
    }

    /// Serves everything that is due before, but not at, that many seconds from now.
    void runShortOf(NSTimeInterval seconds) { runForSeconds(seconds - 1e-9); }

    static void keepBusy(NSTimeInterval seconds) { NSThread::sleepForTimeInterval(seconds); }

    RecordingView &view() { return *_view; }
    Recording &recording() { return _recording; }
    NSUInteger loopCount() const { return _view->operationQueue().operationCount(); }
    void dropView() { _view = nullptr; }
    Retained<RecordingView> takeView() { return std::move(_view); }

  private:
    LogRecorder _log;
    Recording _recording;
    Retained<RecordingView> _view =
        makeRetained<RecordingView>(CGRectMake(0, 0, 320, 480), _recording);
    Clock::Nanoseconds _start = 0;
};

TEST_F(DeskTopViewLoop, CallsForAFrameEveryTwentyFiveMillisecondsOnTheMainThread) {
    start();
    EXPECT_TRUE(view().isAnimating());
    runShortOf(0.125);
    EXPECT_THAT(frameTimes(), ElementsAre(0, 25, 50, 75, 100));
    EXPECT_TRUE(recording().framesWereOnMainThread);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, MakesFortyFramesASecond) {
    start();
    runShortOf(10);
    EXPECT_EQ(recording().frames.size(), 400u);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, CountsAFramesOwnTimeIntoItsPeriod) {
    view().onFrame = [] { keepBusy(0.010); };
    start();
    runShortOf(0.1);
    EXPECT_THAT(frameTimes(), ElementsAre(0, 25, 50, 75));
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, PausesForAMillisecondAfterAFrameThatOverran) {
    view().onFrame = [] { keepBusy(0.040); };
    start();
    runShortOf(0.164);
    EXPECT_THAT(frameTimes(), ElementsAre(0, 41, 82, 123));
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, MakesNoFramesUpForLostOnes) {
    view().onFrame = [this] {
        if (recording().frames.size() == 1) {
            keepBusy(1.0);
        }
    };
    start();
    runShortOf(1.076);
    EXPECT_THAT(frameTimes(), ElementsAre(0, 1001, 1026, 1051));
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, CountsItsWaitForTheMainThreadIntoTheFrame) {
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, "busy", [] { keepBusy(0.020); }, 0.010);
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, "busy", [] { keepBusy(0.060); }, 0.045);
    start();
    runShortOf(0.156);
    // The second frame waits from 25 to 30 and sleeps the rest of its period; the third waits
    // from 50 to 105, too long.
    EXPECT_THAT(frameTimes(), ElementsAre(0, 30, 105, 106, 131));
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, IsOneHoweverOftenItIsStarted) {
    start();
    view().startAnimating();
    view().resumeAnimating();
    EXPECT_EQ(loopCount(), 1u);
    runShortOf(1);
    EXPECT_EQ(loopCount(), 1u);
    EXPECT_EQ(recording().frames.size(), 40u);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, IsNotTroubledByAStopBeforeItRan) {
    view().stopAnimating();
    view().pauseAnimating();
    EXPECT_FALSE(view().isAnimating());
    EXPECT_EQ(loopCount(), 0u);
    runForSeconds(1);
    EXPECT_TRUE(recording().frames.empty());
}

TEST_F(DeskTopViewLoop, MakesNoFrameWhenItIsStoppedBeforeItsThreadBegan) {
    start();
    view().stopAnimating();
    runForSeconds(1);
    EXPECT_TRUE(recording().frames.empty());
    EXPECT_EQ(loopCount(), 0u);
}

TEST_F(DeskTopViewLoop, EndsWithinAFramesTimeOfAStop) {
    start();
    runForSeconds(0.110);
    view().stopAnimating();
    EXPECT_FALSE(view().isAnimating());
    EXPECT_EQ(loopCount(), 1u) << "it still sleeps";
    runForSeconds(0.015);
    runForSeconds(0);
    EXPECT_EQ(recording().frames.size(), 5u);
    runMainLoopUntilIdle();
    EXPECT_EQ(loopCount(), 0u);
    EXPECT_EQ(recording().frames.size(), 5u);
}

TEST_F(DeskTopViewLoop, EndsAfterTheFrameThatStopsIt) {
    view().onFrame = [this] {
        if (recording().frames.size() == 3) {
            view().stopAnimating();
        }
    };
    start();
    runForSeconds(1);
    EXPECT_EQ(recording().frames.size(), 3u);
    EXPECT_EQ(loopCount(), 0u);
}

TEST_F(DeskTopViewLoop, MakesTheOneFrameThatItHadHandedOverBeforeAStop) {
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, "busy",
        [this] {
            keepBusy(0.020);
            view().stopAnimating();
        },
        0.010);
    start();
    runForSeconds(1);
    EXPECT_THAT(frameTimes(), ElementsAre(0, 30));
    EXPECT_EQ(loopCount(), 0u);
}

TEST_F(DeskTopViewLoop, PausesAndResumesWhenTheOldLoopIsWaitedOut) {
    start();
    runForSeconds(0.110);
    view().pauseAnimating();
    EXPECT_FALSE(view().isAnimating());
    runForSeconds(0.490);
    EXPECT_EQ(loopCount(), 0u);
    EXPECT_EQ(recording().frames.size(), 5u);
    view().resumeAnimating();
    EXPECT_TRUE(view().isAnimating());
    EXPECT_EQ(loopCount(), 1u);
    runShortOf(1);
    EXPECT_EQ(recording().frames.size(), 45u);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, IsJoinedByAnotherWhenAPauseIsResumedAtOnce) {
    start();
    runForSeconds(0.110);
    view().pauseAnimating();
    view().resumeAnimating();
    EXPECT_EQ(loopCount(), 2u);
    recording().frames.clear();
    runShortOf(1);
    EXPECT_EQ(loopCount(), 2u);
    EXPECT_EQ(recording().frames.size(), 80u);
    const std::vector<double> times = frameTimes();
    EXPECT_THAT(std::vector<double>(times.begin(), times.begin() + 4),
                ElementsAre(110, 125, 135, 150));
    view().stopAnimating();
    runForSeconds(0.1);
    EXPECT_EQ(loopCount(), 0u) << "a stop ends both";
}

TEST_F(DeskTopViewLoop, StopsWhenTheViewIsTakenFromItsSuperview) {
    const auto parent = UIView::initWithFrame(CGRectMake(0, 0, 320, 480));
    parent->addSubview(&view());
    start();
    runForSeconds(0.05);
    const std::size_t frames = recording().frames.size();
    view().removeFromSuperview();
    EXPECT_FALSE(view().isAnimating());
    EXPECT_EQ(view().superview(), nullptr);
    EXPECT_EQ(parent->subviewCount(), 0u);
    runForSeconds(1);
    EXPECT_EQ(recording().frames.size(), frames);
}

TEST_F(DeskTopViewLoop, RunsOnWhenTheViewIsPutIntoAnotherOrItsParentDies) {
    auto parent = UIView::initWithFrame(CGRectMake(0, 0, 320, 480));
    auto other = UIView::initWithFrame(CGRectMake(0, 0, 320, 480));
    parent->addSubview(&view());
    start();
    runForSeconds(0.05);
    other->addSubview(&view());
    EXPECT_TRUE(view().isAnimating());
    other = nullptr;
    EXPECT_EQ(view().superview(), nullptr);
    EXPECT_TRUE(view().isAnimating());
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, EndsQuietlyWhenItsViewDiesWhileItSleeps) {
    start();
    runForSeconds(0.110);
    const std::size_t frames = recording().frames.size();
    dropView();
    EXPECT_EQ(recording().destructions, 1) << "nothing but the sleeping loop is left";
    EXPECT_TRUE(recording().diedOnMainThread);
    runForSeconds(0.1);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
    EXPECT_EQ(recording().frames.size(), frames);
}

TEST_F(DeskTopViewLoop, KeepsItsViewAliveDuringAFrame) {
    view().onFrame = [this] {
        if (recording().frames.size() == 2) {
            dropView();
            EXPECT_EQ(recording().destructions, 0);
        }
    };
    start();
    runForSeconds(0.1);
    EXPECT_EQ(recording().frames.size(), 2u);
    EXPECT_EQ(recording().destructions, 1);
    EXPECT_TRUE(recording().diedOnMainThread);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
}

TEST_F(DeskTopViewLoop, LetsItsViewDieOnTheMainThreadWhoeverDropsItLast) {
    start();
    runForSeconds(0.110);
    auto *last = takeView().leak();
    NSThread::detachNewThread(nullptr, [last] {
        EXPECT_FALSE(NSThread::isMainThread());
        last->release();
    });
    runForSeconds(0.1);
    EXPECT_EQ(recording().destructions, 1);
    EXPECT_TRUE(recording().diedOnMainThread);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
}

TEST_F(DeskTopViewLoop, StopsWithItsView) {
    start();
    NSUInteger threads = 0;
    view().onFrame = [&] { threads = NSThread::detachedThreadCount(); };
    runForSeconds(0.05);
    EXPECT_EQ(threads, 1u);
    dropView();
    runMainLoopUntilIdle();
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
}

class DeskTopViewDeath : public SimulatedTimeTest {};

TEST_F(DeskTopViewDeath, IsLoggedAndTouchesNoDelegate) {
    struct Delegate : DeskTopViewDelegate {
        int value = 7;
    } delegate;
    const LogRecorder log;
    Recording recording;
    auto view = makeRetained<RecordingView>(CGRect(), recording);
    view->setDestTopViewDelegate(&delegate);
    runForSeconds(1);
    EXPECT_THAT(log.lines(), ElementsAre());
    view = nullptr;
    EXPECT_THAT(log.lines(), ElementsAre("=========DeskTopView dealloc========="));
    EXPECT_EQ(delegate.value, 7);
}

TEST_F(DeskTopViewDeath, LetsGoOfTheBackground) {
    Recording recording;
    auto view = makeRetained<RecordingView>(CGRect(), recording);
    const Retained<UIImageView> background(view->bgView());
    runForSeconds(1);
    EXPECT_GT(background->retainCount(), 1u);
    view = nullptr;
    EXPECT_EQ(background->retainCount(), 1u);
    EXPECT_EQ(background->superview(), nullptr);
}

} // namespace
