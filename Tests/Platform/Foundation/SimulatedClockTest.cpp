#include "Platform/Foundation/SimulatedClock.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

class SimulatedClockTest : public SimulatedTimeTest {
  protected:
    /// Starts a thread of the platform.
    static void start(std::function<void()> action) {
        ASSERT_TRUE(NSThread::detachNewThread(nullptr, std::move(action)));
    }

    /// Only one thread of the platform runs at a time, so the trace needs no lock.
    void record(const std::string &event) { _trace.push_back(event); }

    std::vector<std::string> _trace;
};

using Trace = std::vector<std::string>;

} // namespace

TEST_F(SimulatedClockTest, StartsAtAThousandSeconds) { EXPECT_EQ(now(), 1'000'000'000'000); }

TEST_F(SimulatedClockTest, StandsStillWhileAThreadRuns) {
    double sum = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        sum += i;
    }
    EXPECT_GT(sum, 0);
    EXPECT_EQ(now(), SimulatedClock::kStart);
}

TEST_F(SimulatedClockTest, JumpsExactlyToTheDeadlineOfASleep) {
    NSThread::sleepForTimeInterval(0.025);
    EXPECT_EQ(now(), SimulatedClock::kStart + 25'000'000);
    NSThread::sleepForTimeInterval(3600);
    EXPECT_EQ(now(), SimulatedClock::kStart + 3'600'025'000'000);
}

TEST_F(SimulatedClockTest, DoesNotPassInASleepOfNothing) {
    NSThread::sleepForTimeInterval(0);
    NSThread::sleepForTimeInterval(-1);
    EXPECT_EQ(now(), SimulatedClock::kStart);
}

TEST_F(SimulatedClockTest, NeverRunsBackwardsForAPastDeadline) {
    NSThread::sleepForTimeInterval(1);
    std::mutex mutex;
    ClockCondition never;
    std::unique_lock lock(mutex);
    never.wait(lock, SimulatedClock::kStart);
    EXPECT_EQ(now(), SimulatedClock::kStart + 1'000'000'000);
}

TEST_F(SimulatedClockTest, WakesThreadsInTheOrderOfTheirDeadlines) {
    for (const int delay : {3, 1, 2}) {
        start([this, delay] {
            NSThread::sleepForTimeInterval(delay);
            record(std::to_string(delay) + " at " + std::to_string(elapsed()));
        });
    }
    NSThread::sleepForTimeInterval(10);
    EXPECT_EQ(_trace, (Trace{"1 at 1.000000", "2 at 2.000000", "3 at 3.000000"}));
}

TEST_F(SimulatedClockTest, WakesThreadsWithEqualDeadlinesInTheOrderOfTheirWaiting) {
    for (const char *name : {"a", "b", "c", "d"}) {
        start([this, name] {
            NSThread::sleepForTimeInterval(1);
            record(name);
        });
    }
    NSThread::sleepForTimeInterval(2);
    EXPECT_EQ(_trace, (Trace{"a", "b", "c", "d"}));
}

TEST_F(SimulatedClockTest, AThreadRunsOnUntilItWaits) {
    start([this] {
        record("first begins");
        start([this] { record("second"); });
        record("first goes on");
    });
    record("main goes on");
    NSThread::sleepForTimeInterval(1);
    EXPECT_EQ(_trace, (Trace{"main goes on", "first begins", "first goes on", "second"}));
}

TEST_F(SimulatedClockTest, SignalledThreadsTakeTurnsInTheOrderOfTheirWaiting) {
    std::mutex mutex;
    ClockCondition changed;
    bool isSet = false;
    for (const char *name : {"a", "b", "c"}) {
        start([&, name] {
            std::unique_lock lock(mutex);
            while (!isSet) {
                changed.wait(lock);
            }
            record(name);
        });
    }
    NSThread::sleepForTimeInterval(1);
    {
        const std::lock_guard lock(mutex);
        isSet = true;
        changed.notifyAll();
        record("signal");
    }
    NSThread::sleepForTimeInterval(1);
    EXPECT_EQ(_trace, (Trace{"signal", "a", "b", "c"}));
    EXPECT_EQ(elapsed(), 2);
}

TEST_F(SimulatedClockTest, ASignalComesBeforeADeadline) {
    std::mutex mutex;
    ClockCondition changed;
    start([&] {
        std::unique_lock lock(mutex);
        changed.wait(lock, SimulatedClock::kStart + 5'000'000'000);
        record("woken at " + std::to_string(elapsed()));
    });
    NSThread::sleepForTimeInterval(1);
    {
        const std::lock_guard lock(mutex);
        changed.notifyAll();
    }
    NSThread::sleepForTimeInterval(9);
    EXPECT_EQ(_trace, (Trace{"woken at 1.000000"}));
}

TEST_F(SimulatedClockTest, ANotificationReachesOnlyTheWaitersOfItsCondition) {
    std::mutex mutex;
    ClockCondition wanted;
    ClockCondition other;
    start([&] {
        std::unique_lock lock(mutex);
        wanted.wait(lock, SimulatedClock::kStart + 3'000'000'000);
        record("woken at " + std::to_string(elapsed()));
    });
    NSThread::sleepForTimeInterval(1);
    other.notifyAll();
    NSThread::sleepForTimeInterval(9);
    EXPECT_EQ(_trace, (Trace{"woken at 3.000000"}));
}

namespace {

/// Runs threads that sleep, hand calls to the main thread, start more threads and change the view
/// tree.
Trace traceOfABusyMinute() {
    Trace trace;
    const auto stamp = [](const std::string &event) {
        return event + "@" + std::to_string(Clock::current().now());
    };
    TreeValue<unsigned> shared{0};
    for (int i = 0; i < 5; ++i) {
        NSThread::detachNewThread(nullptr, [&, i] {
            const std::string name(1, static_cast<char>('a' + i));
            for (int turn = 0; turn < 20; ++turn) {
                trace.push_back(stamp(name));
                shared.set(shared.get() * 3 + static_cast<unsigned>(i));
                NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                    nullptr, [&] { trace.push_back(stamp("main for " + name)); }, turn % 2 == 0);
                if (turn % 7 == 3) {
                    NSThread::detachNewThread(nullptr, [&, name] { trace.push_back(name + "!"); });
                }
                NSThread::sleepForTimeInterval(0.001 * ((turn + i) % 3 + 1));
            }
        });
    }
    NSRunLoop::mainRunLoop().runForSeconds(60);
    runMainLoopUntilIdle();
    trace.push_back(stamp("end " + std::to_string(shared.get())));
    return trace;
}

} // namespace

TEST(SimulatedClock, SameThreadsInterleaveAlikeOnEveryRun) {
    std::vector<Trace> traces;
    for (int run = 0; run < 10; ++run) {
        SimulatedClock clock;
        Clock::setCurrent(&clock);
        traces.push_back(traceOfABusyMinute());
        Clock::setCurrent(nullptr);
    }
    EXPECT_EQ(traces.front().size(), 5u * (20 + 20 + 3) + 1);
    for (const Trace &trace : traces) {
        EXPECT_EQ(trace, traces.front());
    }
}

TEST_F(SimulatedClockTest, AThreadThatCouldNotStartGivesItsTurnBack) {
    auto announced = Clock::current().threadAnnounced();
    start([this] { record("ran"); });
    announced.reset();
    NSThread::sleepForTimeInterval(1);
    EXPECT_EQ(_trace, (Trace{"ran"}));
}

TEST_F(SimulatedClockTest, AThreadThatAVisitorCouldNotStartGivesItsTurnBack) {
    std::thread visitor([] {
        Clock::current().threadAnnounced().reset();
        loop().stop();
    });
    loop().runUntil(Clock::kNever);
    visitor.join();
    EXPECT_EQ(elapsed(), 0);
}

TEST_F(SimulatedClockTest, AVisitorHandsACallToTheMainThread) {
    std::thread visitor([this] {
        loop().performSelectorOnMainThread(
            nullptr, [this] { record(NSThread::isMainThread() ? "main" : "visitor"); }, true);
        loop().stop();
    });
    loop().runUntil(Clock::kNever);
    visitor.join();
    EXPECT_EQ(_trace, (Trace{"main"}));
    EXPECT_EQ(now(), SimulatedClock::kStart);
}

TEST_F(SimulatedClockTest, AVisitorsSleepLetsTimePassWhenAllThreadsWait) {
    std::thread visitor([] {
        NSThread::sleepForTimeInterval(2);
        loop().stop();
    });
    loop().runUntil(Clock::kNever);
    visitor.join();
    EXPECT_EQ(elapsed(), 2);
}

TEST_F(SimulatedClockTest, AVisitorStartsAThreadWhileEveryThreadWaits) {
    std::thread visitor([this] {
        start([this] {
            NSThread::sleepForTimeInterval(1);
            record("ran");
            loop().stop();
        });
    });
    loop().runUntil(Clock::kNever);
    visitor.join();
    EXPECT_EQ(_trace, (Trace{"ran"}));
    EXPECT_EQ(elapsed(), 1);
}

TEST_F(SimulatedClockTest, ManyVisitorsComeAndGoWhileThreadsTakeTurns) {
    constexpr int kTurns = 50;
    int calls = 0;
    int finished = 0;
    const auto work = [&](bool waits, double pause) {
        for (int turn = 0; turn < kTurns; ++turn) {
            NSThread::sleepForTimeInterval(pause);
            loop().performSelectorOnMainThread(
                nullptr, [&] { ++calls; }, waits);
        }
        loop().performSelectorOnMainThread(
            nullptr, [&] { ++finished; }, true);
    };
    std::vector<std::thread> visitors;
    for (int i = 0; i < 4; ++i) {
        visitors.emplace_back(work, i % 2 == 0, 0.001);
    }
    for (int i = 0; i < 3; ++i) {
        start([&] { work(true, 0.002); });
    }
    while (finished < 7) {
        EXPECT_TRUE(loop().runNextCall(Clock::kNever));
    }
    for (std::thread &visitor : visitors) {
        visitor.join();
    }
    EXPECT_EQ(calls, 7 * kTurns);
}
