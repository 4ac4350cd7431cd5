#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Tests/Animation/Support/RecordingView.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <utility>

namespace {

using testing::ElementsAre;

constexpr Clock::Nanoseconds kMillisecond = 1'000'000;

/// A view that records its frames, on a simulated clock.
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

    /// The view's own, which nobody else is to touch.
    NSOperationQueue &queue() { return const_cast<NSOperationQueue &>(_view->operationQueue()); }

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

TEST_F(DeskTopViewLoop, IsOneWhenItIsStoppedAndStartedAgainBeforeItBegan) {
    bool isAskedFirst = true;
    view().onAsked = [&] {
        if (std::exchange(isAskedFirst, false)) {
            NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                nullptr,
                [this] {
                    view().stopAnimating();
                    view().startAnimating();
                },
                true);
        }
    };
    start();
    runShortOf(2);
    EXPECT_EQ(loopCount(), 1u);
    EXPECT_EQ(recording().frames.size(), 80u);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, MakesNoFrameWhenItsViewRefuses) {
    view().answers = false;
    start();
    runForSeconds(1);
    EXPECT_TRUE(recording().frames.empty());
    EXPECT_EQ(loopCount(), 0u);
}

TEST_F(DeskTopViewLoop, CancelsEveryOperationOfItsQueueAtAStop) {
    start();
    runForSeconds(0.05);
    queue().setSuspended(true);
    const auto waiting = makeRetained<NSOperation>();
    queue().addOperation(waiting);
    view().stopAnimating();
    EXPECT_TRUE(waiting->isCancelled());
    queue().setSuspended(false);
}

TEST_F(DeskTopViewLoop, LetsItsQueueRunAgain) {
    queue().setSuspended(true);
    start();
    EXPECT_FALSE(queue().isSuspended());
    runShortOf(0.1);
    EXPECT_EQ(recording().frames.size(), 4u);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, IsNotKeptUpByAWallpaperThatSaysThatItAnimates) {
    view().boasts = true;
    start();
    runForSeconds(0.110);
    EXPECT_EQ(recording().frames.size(), 5u);
    view().stopAnimating();
    runForSeconds(1);
    EXPECT_EQ(recording().frames.size(), 5u);
    EXPECT_EQ(loopCount(), 0u);
}

TEST_F(DeskTopViewLoop, IsOverAtOnceWhenItIsCalledOnAStoppedView) {
    const NSUInteger references = view().retainCount();
    view().runLoop();
    EXPECT_TRUE(recording().frames.empty());
    EXPECT_EQ(view().retainCount(), references);
    NSThread::detachNewThread(&view(), [this] { view().runLoop(); });
    runForSeconds(1);
    EXPECT_TRUE(recording().frames.empty());
    EXPECT_EQ(view().retainCount(), references);
}

TEST_F(DeskTopViewLoop, RunsForWhoeverCallsIt) {
    start();
    NSThread::detachNewThread(&view(), [this] { view().runLoop(); });
    runShortOf(1);
    EXPECT_EQ(recording().frames.size(), 80u);
    EXPECT_TRUE(recording().framesWereOnMainThread);
    view().stopAnimating();
}

TEST_F(DeskTopViewLoop, MakesItsFramesAtOnceWhenTheMainThreadCallsIt) {
    view().onFrame = [this] {
        if (recording().frames.size() == 3) {
            view().stopAnimating();
        }
    };
    start();
    view().runLoop();
    EXPECT_THAT(frameTimes(), ElementsAre(0, 25, 50));
}

TEST_F(DeskTopViewLoop, HasOneAutoreleasePoolForAllItsFrames) {
    const NSAutoreleasePool outer;
    std::atomic<int> deaths = 0;
    view().onFrame = [&] {
        autorelease(makeRetained<Tracked>(deaths));
        EXPECT_EQ(deaths, 0);
        if (recording().frames.size() == 3) {
            view().stopAnimating();
        }
    };
    start();
    view().runLoop();
    EXPECT_EQ(deaths, 3);
    view().onFrame = nullptr; // the clock's own thread may have handed one over
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

/// What a view has while it dies.
struct Remains {
    explicit Remains(const DeskTopView &view)
        : delegate(view.destTopViewDelegate()), isAnimating(view.isAnimating()),
          hasBackground(view.bgView() != nullptr) {}

    DeskTopViewDelegate *delegate;
    bool isAnimating;
    bool hasBackground;
};

TEST_F(DeskTopViewDeath, IsLoggedBeforeAnythingElse) {
    struct Delegate : DeskTopViewDelegate {
    } delegate;
    Recording recording;
    auto view = makeRetained<RecordingView>(CGRect(), recording);
    view->setDestTopViewDelegate(&delegate);
    view->startAnimating();
    runForSeconds(1);
    std::vector<std::string> lines;
    std::optional<Remains> remains;
    NSLogSetSink([&, dying = view.get()](std::string_view line) {
        lines.emplace_back(line);
        remains.emplace(*dying);
    });
    view = nullptr;
    NSLogSetSink(nullptr);
    EXPECT_THAT(lines, ElementsAre("=========DeskTopView dealloc========="));
    ASSERT_TRUE(remains);
    EXPECT_EQ(remains->delegate, &delegate);
    EXPECT_TRUE(remains->isAnimating);
    EXPECT_TRUE(remains->hasBackground);
}

/// Does something when it dies.
class Mourner final : public UIView {
  public:
    explicit Mourner(std::function<void()> atDeath)
        : UIView(CGRect()), _atDeath(std::move(atDeath)) {}

    ~Mourner() override { _atDeath(); }

  private:
    const std::function<void()> _atDeath;
};

/// Calls `atDeath` when the view's background goes, which is then in nobody else's hands.
void mournBackground(const DeskTopView &view, const std::function<void()> &atDeath) {
    view.bgView()->addSubview(makeRetained<Mourner>(atDeath).get());
    view.bgView()->removeFromSuperview();
}

TEST_F(DeskTopViewDeath, EndsTheDelegateAndTheClockBeforeTheBackground) {
    struct Delegate : DeskTopViewDelegate {
    } delegate;
    const LogRecorder log;
    Recording recording;
    auto view = makeRetained<RecordingView>(CGRect(), recording);
    view->setDestTopViewDelegate(&delegate);
    view->startAnimating();
    runForSeconds(1);
    std::optional<Remains> remains;
    mournBackground(*view, [&, dying = view.get()] { remains.emplace(*dying); });
    view = nullptr;
    ASSERT_TRUE(remains);
    EXPECT_EQ(remains->delegate, nullptr);
    EXPECT_FALSE(remains->isAnimating);
}

TEST_F(DeskTopViewDeath, CancelsWhatItsQueueStillHasAfterTheBackgroundWent) {
    const LogRecorder log;
    Recording recording;
    auto view = makeRetained<RecordingView>(CGRect(), recording);
    runForSeconds(1);
    auto &queue = const_cast<NSOperationQueue &>(view->operationQueue());
    queue.setSuspended(true);
    const auto waiting = makeRetained<NSOperation>();
    queue.addOperation(waiting);
    bool wasCancelledBefore = true;
    mournBackground(*view, [&] { wasCancelledBefore = waiting->isCancelled(); });
    view = nullptr;
    EXPECT_FALSE(wasCancelledBefore);
    EXPECT_TRUE(waiting->isCancelled());
    EXPECT_EQ(waiting->retainCount(), 1u);
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
