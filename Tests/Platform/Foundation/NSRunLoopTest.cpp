#include "Platform/Foundation/NSRunLoop.h"

#include "Platform/Foundation/NSString.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <limits>
#include <string>
#include <thread>

namespace {

class NSRunLoopTest : public SimulatedTimeTest {
  protected:
    void defer(const std::string &name, double delay, NSObject *target = nullptr) {
        loop().performSelector_afterDelay(
            target, name, [this, name] { _trace += name; }, delay);
    }

    std::string _trace;
    std::atomic<int> _deaths{0};
};

} // namespace

TEST_F(NSRunLoopTest, ServesCallsInTheOrderInWhichTheyFallDue) {
    defer("c", 3);
    defer("a", 1);
    defer("b", 2);
    runForSeconds(10);
    EXPECT_EQ(_trace, "abc");
}

TEST_F(NSRunLoopTest, ServesCallsThatFallDueTogetherInTheOrderOfTheirAsking) {
    for (const char *name : {"d", "a", "c", "b"}) {
        defer(name, 1);
    }
    loop().performSelectorOnMainThread(
        nullptr, [this] { _trace += "1"; }, false);
    loop().performSelectorOnMainThread(
        nullptr, [this] { _trace += "2"; }, false);
    runForSeconds(10);
    EXPECT_EQ(_trace, "12dacb");
}

TEST_F(NSRunLoopTest, CallsAtTheExactTime) {
    Clock::Nanoseconds called = 0;
    loop().performSelector_afterDelay(
        nullptr, "call", [&] { called = now(); }, 0.5);
    runForSeconds(1);
    EXPECT_EQ(called, SimulatedClock::kStart + 500'000'000);
}

TEST_F(NSRunLoopTest, CallsAtTheNextTurnWithoutADelay) {
    defer("a", 0);
    defer("b", -5);
    EXPECT_EQ(_trace, "");
    loop().runUntil(now());
    EXPECT_EQ(_trace, "ab");
    EXPECT_EQ(elapsed(), 0);
}

TEST_F(NSRunLoopTest, ServesACallThatACallAsksFor) {
    loop().performSelector_afterDelay(
        nullptr, "outer", [this] { defer("inner", 0); }, 1);
    runForSeconds(1);
    EXPECT_EQ(_trace, "inner");
}

TEST_F(NSRunLoopTest, RunsExactlyUntilItsDeadline) {
    loop().runUntil(SimulatedClock::kStart + 1'234'567);
    EXPECT_EQ(now(), SimulatedClock::kStart + 1'234'567);
    loop().runUntil(SimulatedClock::kStart);
    EXPECT_EQ(now(), SimulatedClock::kStart + 1'234'567);
}

TEST_F(NSRunLoopTest, ServesACallDueAtTheDeadlineButNoneAfterIt) {
    loop().performSelector_afterDelay(
        nullptr, "at", [this] { _trace += "at"; }, 1);
    loop().performSelector_afterDelay(
        nullptr, "later", [this] { _trace += "later"; }, 1.000000001);
    loop().runUntil(SimulatedClock::kStart + 1'000'000'000);
    EXPECT_EQ(_trace, "at");
    EXPECT_EQ(loop().nextDeadline(), SimulatedClock::kStart + 1'000'000'001);
}

TEST_F(NSRunLoopTest, DoesNotServeACallThatFallsDueAfterTheDeadlineHoweverLateItIs) {
    defer("late", 1);
    NSThread::sleepForTimeInterval(2);
    loop().runUntil(SimulatedClock::kStart + 999'999'999);
    EXPECT_EQ(_trace, "");
    loop().runUntil(SimulatedClock::kStart + 1'000'000'000);
    EXPECT_EQ(_trace, "late");
}

TEST_F(NSRunLoopTest, KeepsACallWithAnEndlessDelayForEver) {
    const auto target = makeRetained<Tracked>(_deaths);
    defer("never", std::numeric_limits<double>::infinity(), target.get());
    runForSeconds(1e6);
    EXPECT_EQ(_trace, "");
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    loop().cancelPreviousPerformRequestsWithTarget(target.get(), "never");
    EXPECT_EQ(target->retainCount(), 1u);
}

TEST_F(NSRunLoopTest, CancelsEveryRequestOfATargetAndName) {
    const auto target = makeRetained<Tracked>(_deaths);
    const auto other = makeRetained<Tracked>(_deaths);
    defer("a", 1, target.get());
    defer("a", 2, target.get());
    defer("b", 3, target.get());
    defer("a", 4, other.get());
    loop().cancelPreviousPerformRequestsWithTarget(target.get(), "a");
    EXPECT_EQ(target->retainCount(), 2u);
    runForSeconds(2.5);
    EXPECT_EQ(_trace, "");
    runForSeconds(10);
    EXPECT_EQ(_trace, "ba");
}

TEST_F(NSRunLoopTest, CancellingLeavesCallsToTheMainThreadAlone) {
    loop().performSelectorOnMainThread(
        nullptr, [this] { _trace += "call"; }, false);
    loop().cancelPreviousPerformRequestsWithTarget(nullptr, "");
    runForSeconds(1);
    EXPECT_EQ(_trace, "call");
}

TEST_F(NSRunLoopTest, CancellingMayDestroyATargetThatUsesTheLoop) {
    auto target = makeRetained<Tracked>(_deaths, [this](Tracked &dying) {
        loop().cancelPreviousPerformRequestsWithTarget(&dying, "a");
        defer("last", 0);
    });
    Tracked *plain = target.get();
    defer("a", 1, plain);
    target = nullptr;
    EXPECT_EQ(_deaths, 0);
    loop().cancelPreviousPerformRequestsWithTarget(plain, "a");
    EXPECT_EQ(_deaths, 1);
    runForSeconds(5);
    EXPECT_EQ(_trace, "last");
}

TEST_F(NSRunLoopTest, CancelsACallThatIsDueFromACallBeforeIt) {
    const auto target = makeRetained<Tracked>(_deaths);
    loop().performSelector_afterDelay(
        nullptr, "first",
        [&] { loop().cancelPreviousPerformRequestsWithTarget(target.get(), "second"); }, 1);
    defer("second", 1, target.get());
    runForSeconds(5);
    EXPECT_EQ(_trace, "");
}

TEST_F(NSRunLoopTest, RetainsATargetUntilItsCallHasReturned) {
    auto target = makeRetained<Tracked>(_deaths);
    int deathsInside = -1;
    loop().performSelector_afterDelay(
        target.get(), "call", [&] { deathsInside = _deaths; }, 1);
    EXPECT_EQ(target->retainCount(), 2u);
    target = nullptr;
    runForSeconds(2);
    EXPECT_EQ(deathsInside, 0);
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSRunLoopTest, DropsWhatAnActionHoldsAfterItsCall) {
    loop().performSelector_afterDelay(
        nullptr, "call", [held = makeRetained<Tracked>(_deaths)] {}, 1);
    runForSeconds(0.5);
    EXPECT_EQ(_deaths, 0);
    runForSeconds(1);
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSRunLoopTest, DrainsAPoolAfterEveryCallOut) {
    int deathsAtSecond = -1;
    loop().performSelector_afterDelay(
        nullptr, "first",
        [&] {
            autorelease(makeRetained<Tracked>(_deaths));
            EXPECT_EQ(_deaths, 0);
        },
        1);
    loop().performSelector_afterDelay(
        nullptr, "second", [&] { deathsAtSecond = _deaths; }, 1);
    runForSeconds(2);
    EXPECT_EQ(deathsAtSecond, 1);
}

TEST_F(NSRunLoopTest, AWaitingCallOnTheMainThreadRunsAtOnce) {
    defer("pending", 0);
    const auto target = makeRetained<Tracked>(_deaths);
    NSUInteger count = 0;
    loop().performSelectorOnMainThread(
        target.get(),
        [&] {
            _trace += "now";
            count = target->retainCount();
        },
        true);
    EXPECT_EQ(_trace, "now");
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(target->retainCount(), 1u);
    runForSeconds(0);
    EXPECT_EQ(_trace, "nowpending");
}

TEST_F(NSRunLoopTest, ACallOnTheMainThreadThatDoesNotWaitRunsLater) {
    loop().performSelectorOnMainThread(
        nullptr, [this] { _trace += "later"; }, false);
    EXPECT_EQ(_trace, "");
    runForSeconds(0);
    EXPECT_EQ(_trace, "later");
}

TEST_F(NSRunLoopTest, AWaitingCallFromAnotherThreadReturnsAfterTheAction) {
    NSThread::detachNewThread(nullptr, [this] {
        loop().performSelectorOnMainThread(
            nullptr,
            [this] {
                autorelease(makeRetained<Tracked>(_deaths));
                NSThread::sleepForTimeInterval(2);
                _trace += NSThread::isMainThread() ? "main " : "wrong ";
            },
            true);
        _trace += "returned after " + std::to_string(_deaths) + " deaths";
    });
    runForSeconds(5);
    EXPECT_EQ(_trace, "main returned after 1 deaths");
}

TEST_F(NSRunLoopTest, ObserversFrameEveryCallOut) {
    loop().setObservers([this] { _trace += "("; }, [this] { _trace += ")"; });
    defer("a", 1);
    defer("b", 1);
    runForSeconds(2);
    loop().setObservers(nullptr, nullptr);
    defer("c", 1);
    runForSeconds(2);
    EXPECT_EQ(_trace, "(a)(b)c");
}

TEST_F(NSRunLoopTest, ObserversFrameNestedCallOutsToo) {
    loop().setObservers([this] { _trace += "("; }, [this] { _trace += ")"; });
    loop().performSelector_afterDelay(
        nullptr, "outer", [] { runForSeconds(2); }, 1);
    defer("a", 2);
    runForSeconds(5);
    loop().setObservers(nullptr, nullptr);
    EXPECT_EQ(_trace, "((a))");
}

TEST_F(NSRunLoopTest, StopsAfterTheCallOutInProgress) {
    loop().performSelector_afterDelay(
        nullptr, "stop",
        [this] {
            loop().stop();
            _trace += "a";
        },
        1);
    defer("b", 1);
    loop().runUntil(Clock::kNever);
    EXPECT_EQ(_trace, "a");
    EXPECT_EQ(elapsed(), 1);
    runForSeconds(0);
    EXPECT_EQ(_trace, "ab");
}

TEST_F(NSRunLoopTest, StopFromAnotherThreadEndsTheWait) {
    NSThread::detachNewThread(nullptr, [] {
        NSThread::sleepForTimeInterval(3);
        loop().stop();
    });
    loop().runUntil(Clock::kNever);
    EXPECT_EQ(elapsed(), 3);
}

TEST_F(NSRunLoopTest, StopEndsTheInnermostLoopAlone) {
    loop().performSelector_afterDelay(
        nullptr, "outer",
        [this] {
            loop().runUntil(Clock::kNever);
            _trace += "inner over ";
        },
        1);
    loop().performSelector_afterDelay(
        nullptr, "stop", [] { loop().stop(); }, 2);
    defer("outer goes on", 3);
    runForSeconds(10);
    EXPECT_EQ(_trace, "inner over outer goes on");
    EXPECT_EQ(elapsed(), 10);
}

TEST_F(NSRunLoopTest, TellsWhoseCallRunsInANestedLoopAndAfterIt) {
    const auto outer = NSString::stringWithUTF8String("outer");
    const auto inner = NSString::stringWithUTF8String("inner");
    std::vector<const NSObject *> targets;
    const auto note = [&] { targets.push_back(loop().currentTarget()); };
    loop().performSelector_afterDelay(inner.get(), "inner", note, 2);
    loop().performSelector_afterDelay(
        outer.get(), "outer",
        [&] {
            runForSeconds(3);
            note();
        },
        1);
    runForSeconds(10);
    note();
    EXPECT_EQ(targets, (std::vector<const NSObject *>{inner.get(), outer.get(), nullptr}));
}

TEST_F(NSRunLoopTest, ANestedLoopServesPendingCalls) {
    loop().performSelector_afterDelay(
        nullptr, "outer",
        [this] {
            _trace += "[";
            runForSeconds(1.5);
            _trace += "]";
        },
        1);
    defer("a", 2);
    defer("b", 3);
    runForSeconds(10);
    EXPECT_EQ(_trace, "[a]b");
}

TEST_F(NSRunLoopTest, RunsOneCallAtATime) {
    defer("a", 1);
    defer("b", 1);
    EXPECT_TRUE(loop().runNextCall(Clock::kNever));
    EXPECT_EQ(_trace, "a");
    EXPECT_TRUE(loop().runNextCall(Clock::kNever));
    EXPECT_EQ(_trace, "ab");
    EXPECT_FALSE(loop().runNextCall(Clock::current().deadlineAfter(2)));
    EXPECT_EQ(elapsed(), 3);
}

TEST_F(NSRunLoopTest, TellsWhenTheNextCallFallsDue) {
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    defer("b", 2);
    defer("a", 1);
    EXPECT_EQ(loop().nextDeadline(), SimulatedClock::kStart + 1'000'000'000);
    runForSeconds(5);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_F(NSRunLoopTest, ACallFromAnotherThreadShortensTheWait) {
    defer("far", 100);
    NSThread::detachNewThread(nullptr, [this] {
        NSThread::sleepForTimeInterval(1);
        defer("near", 1);
    });
    EXPECT_TRUE(loop().runNextCall(Clock::kNever));
    EXPECT_EQ(_trace, "near");
    EXPECT_EQ(elapsed(), 2);
}

namespace {

/// A clock whose time passes only in waits. When the main thread gives up the tree for the first
/// time, `event` happens, as another thread could do then.
class ClockWithAnEventWhenTheTreeIsFree final : public Clock {
  public:
    explicit ClockWithAnEventWhenTheTreeIsFree(std::function<void()> event)
        : _event(std::move(event)) {
        Clock::setCurrent(this);
    }
    ~ClockWithAnEventWhenTheTreeIsFree() override { Clock::setCurrent(nullptr); }

    Nanoseconds now() override { return _now; }

    void wait(ClockCondition &, std::unique_lock<std::mutex> &, Nanoseconds deadline) override {
        _now = std::max(_now, deadline);
    }

    void notifyAll(ClockCondition &) override {
        if (const auto event = std::exchange(_event, nullptr)) {
            event();
        }
    }

  private:
    std::function<void()> _event;
    Nanoseconds _now = 0;
};

} // namespace

TEST(NSRunLoop, ServesACallInTimeThatCameRightBeforeTheWait) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    Clock::Nanoseconds called = 0;
    ClockWithAnEventWhenTheTreeIsFree clock([&] {
        loop.performSelector_afterDelay(
            nullptr, "call", [&] { called = clock.now(); }, 1e-6);
    });
    loop.runForSeconds(1);
    EXPECT_EQ(called, 1000);
}

TEST(NSRunLoop, ObeysAStopThatCameRightBeforeTheWait) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    ClockWithAnEventWhenTheTreeIsFree clock([&] { loop.stop(); });
    loop.runForSeconds(1);
    EXPECT_EQ(clock.now(), 0);
}

TEST(NSRunLoopOnTheSystemClock, ServesCallsInOrderAndNotTooEarly) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    std::string trace;
    const Clock::Nanoseconds start = Clock::current().now();
    Clock::Nanoseconds end = 0;
    loop.performSelector_afterDelay(
        nullptr, "b",
        [&] {
            trace += "b";
            end = Clock::current().now();
            loop.stop();
        },
        0.004);
    loop.performSelector_afterDelay(
        nullptr, "a", [&] { trace += "a"; }, 0.002);
    loop.runUntil(Clock::kNever);
    EXPECT_EQ(trace, "ab");
    EXPECT_GE(end - start, 4'000'000);
}

TEST(NSRunLoopOnTheSystemClock, AWaitingCallFromAnotherThreadReturnsAfterTheAction) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    bool done = false;
    bool seen = false;
    std::thread caller([&] {
        for (int i = 0; i < 100; ++i) {
            done = false;
            loop.performSelectorOnMainThread(
                nullptr, [&] { done = true; }, true);
            seen = done;
            if (!seen) {
                break;
            }
        }
        loop.stop();
    });
    loop.runUntil(Clock::kNever);
    caller.join();
    EXPECT_TRUE(seen);
}

namespace {

/// A host's own waiter: remembers a wake that comes before the wait, and tells when it waits.
class HostWaiter final : public RunLoopWaiter {
  public:
    void wait(Clock::Nanoseconds nanoseconds) override {
        std::unique_lock lock(_mutex);
        _waits.push_back(nanoseconds);
        _changed.notify_all();
        const auto woken = [this] { return std::exchange(_woken, false); };
        if (nanoseconds == Clock::kNever) {
            _changed.wait(lock, woken);
        } else {
            _changed.wait_for(lock, std::chrono::nanoseconds(nanoseconds), woken);
        }
    }

    void wake() override {
        const std::lock_guard lock(_mutex);
        _woken = true;
        _changed.notify_all();
    }

    void waitForAWait() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return !_waits.empty(); });
    }

    std::vector<Clock::Nanoseconds> waits() {
        const std::lock_guard lock(_mutex);
        return _waits;
    }

  private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<Clock::Nanoseconds> _waits;
    bool _woken = false;
};

class NSRunLoopWithAWaiter : public ::testing::Test {
  public:
    NSRunLoopWithAWaiter() { _loop.setWaiter(&_waiter); }
    ~NSRunLoopWithAWaiter() override { _loop.setWaiter(nullptr); }

  protected:
    NSRunLoop &_loop = NSRunLoop::mainRunLoop();
    HostWaiter _waiter;
};

} // namespace

TEST_F(NSRunLoopWithAWaiter, IsWokenByACallFromAnotherThread) {
    bool called = false;
    std::thread caller([&] {
        _waiter.waitForAWait();
        _loop.performSelectorOnMainThread(
            nullptr, [&] { called = true; }, true);
        _loop.stop();
    });
    _loop.runUntil(Clock::kNever);
    caller.join();
    EXPECT_TRUE(called);
    EXPECT_EQ(_waiter.waits().front(), Clock::kNever);
}

TEST_F(NSRunLoopWithAWaiter, WaitsNoLongerThanUntilTheNextCall) {
    bool called = false;
    _loop.performSelector_afterDelay(
        nullptr, "call", [&] { called = true; }, 3600);
    std::thread stopper([&] {
        _waiter.waitForAWait();
        _loop.stop();
    });
    _loop.runUntil(Clock::kNever);
    stopper.join();
    _loop.cancelPreviousPerformRequestsWithTarget(nullptr, "call");
    EXPECT_FALSE(called);
    EXPECT_GT(_waiter.waits().front(), 0);
    EXPECT_LE(_waiter.waits().front(), 3600'000'000'000);
}

TEST_F(NSRunLoopWithAWaiter, MakesTheCallThatItHasWaitedFor) {
    bool called = false;
    _loop.performSelector_afterDelay(
        nullptr, "call",
        [&] {
            called = true;
            _loop.stop();
        },
        0.003);
    _loop.runUntil(Clock::kNever);
    EXPECT_TRUE(called);
}

TEST_F(NSRunLoopWithAWaiter, LetsOtherThreadsChangeTheTreeMeanwhile) {
    TreeValue<int> value{0};
    std::thread changer([&] {
        _waiter.waitForAWait();
        value.set(1);
        _loop.stop();
    });
    _loop.runUntil(Clock::kNever);
    changer.join();
    EXPECT_EQ(value.peek(), 1);
}

TEST_F(NSRunLoopWithAWaiter, DoesNotWaitWhenACallIsDue) {
    bool called = false;
    _loop.performSelectorOnMainThread(
        nullptr, [&] { called = true; }, false);
    _loop.runUntil(Clock::current().now());
    EXPECT_TRUE(called);
    EXPECT_TRUE(_waiter.waits().empty());
}
