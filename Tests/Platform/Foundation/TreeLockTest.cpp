#include "Platform/Foundation/TreeLock.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

class TreeLockTest : public SimulatedTimeTest {
  protected:
    static void start(std::function<void()> action) {
        ASSERT_TRUE(NSThread::detachNewThread(nullptr, std::move(action)));
    }

    TreeValue<int> _value{0};
    std::string _trace;
};

} // namespace

TEST_F(TreeLockTest, AnotherThreadChangesTheTreeWhileTheMainThreadSleeps) {
    start([this] { _value.set(1); });
    NSThread::sleepForTimeInterval(1);
    EXPECT_EQ(_value.peek(), 1);
}

TEST_F(TreeLockTest, AnotherThreadChangesTheTreeWhileTheMainThreadRunsItsLoop) {
    start([this] {
        for (int i = 0; i < 10; ++i) {
            _value.set(_value.get() + 1);
            NSThread::sleepForTimeInterval(0.01);
        }
    });
    runForSeconds(1);
    EXPECT_EQ(_value.peek(), 10);
}

TEST_F(TreeLockTest, TheTreeStaysAsItIsDuringACallOut) {
    start([this] {
        for (int i = 0; i < 100; ++i) {
            _value.set(_value.get() + 1);
            NSThread::sleepForTimeInterval(0.001);
        }
    });
    int changes = 0;
    for (int i = 0; i < 50; ++i) {
        loop().performSelector_afterDelay(
            nullptr, "look",
            [&] {
                const int seen = _value.peek();
                std::this_thread::yield();
                changes += _value.peek() == seen ? 0 : 1;
            },
            0.002 * i);
    }
    runForSeconds(1);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(_value.peek(), 100);
}

TEST_F(TreeLockTest, ThreadsGetTheTreeInTheOrderInWhichTheyAsked) {
    start([this] {
        {
            const TreeAccess access;
            NSThread::sleepForTimeInterval(1);
            _trace += "first ";
        }
        const TreeAccess again;
        _trace += "again";
    });
    for (const char name : {'a', 'b', 'c'}) {
        start([this, name] {
            NSThread::sleepForTimeInterval(0.1 * ('d' - name));
            const TreeAccess access;
            _trace += name;
        });
    }
    NSThread::sleepForTimeInterval(0.5);
    EXPECT_EQ(_trace, "first cba") << "the main thread's turn comes after those";
    EXPECT_EQ(elapsed(), 1);
    runForSeconds(1);
    EXPECT_EQ(_trace, "first cbaagain");
}

TEST_F(TreeLockTest, AccessesNestOnOneThread) {
    start([this] {
        const TreeAccess outer;
        const TreeAccess inner;
        _value.set(_value.get() + 5);
    });
    runForSeconds(1);
    EXPECT_EQ(_value.peek(), 5);
}

TEST_F(TreeLockTest, YieldsNestOnTheMainThread) {
    start([this] { _value.set(1); });
    {
        const TreeLock::Yield outer;
        { const TreeLock::Yield inner; }
        NSThread::sleepForTimeInterval(1);
    }
    EXPECT_EQ(_value.peek(), 1);
}

TEST_F(TreeLockTest, AYieldOnAnotherThreadDoesNothing) {
    start([this] {
        const TreeLock::Yield yield;
        _value.set(2);
    });
    runForSeconds(1);
    EXPECT_EQ(_value.peek(), 2);
}

TEST_F(TreeLockTest, YieldIfWantedTakesTheTreeBack) {
    TreeLock::yieldIfWanted();
    start([this] { _value.set(_value.get() + 1); });
    TreeLock::yieldIfWanted();
    EXPECT_EQ(_value.peek(), 0) << "the thread has not begun";
    runForSeconds(1);
    EXPECT_EQ(_value.peek(), 1);
}

TEST(TreeLockOnTheSystemClock, AMainThreadThatSleepsLetsAnotherIn) {
    TreeValue<int> value{0};
    std::thread other([&] { value.set(1); });
    while (value.get() == 0) {
        NSThread::sleepForTimeInterval(0.001);
    }
    other.join();
    EXPECT_EQ(value.peek(), 1);
}

TEST(TreeLockOnTheSystemClock, AMainThreadThatIsAlwaysBusyLetsAnotherInBetweenCallOuts) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    TreeValue<int> value{0};
    std::thread other([&] {
        for (int i = 0; i < 200; ++i) {
            value.set(value.get() + 1);
        }
    });
    std::function<void()> again = [&] {
        if (value.peek() < 200) {
            loop.performSelector_afterDelay(nullptr, "again", again, 0);
        } else {
            loop.stop();
        }
    };
    again();
    loop.runUntil(Clock::kNever);
    other.join();
    EXPECT_EQ(value.peek(), 200);
}

TEST(TreeLockOnTheSystemClock, ManyThreadsLoseNoChange) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    TreeValue<int> value{0};
    int finished = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 250; ++turn) {
                const TreeAccess access;
                value.set(value.get() + 1);
            }
            loop.performSelectorOnMainThread(
                nullptr, [&] { ++finished; }, false);
        });
    }
    while (finished < 4) {
        loop.runNextCall(Clock::kNever);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(value.peek(), 1000);
}
