#include "Platform/Foundation/NSThread.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <thread>

namespace {

class NSThreadTest : public SimulatedTimeTest {};

/// While it exists, the system has no memory for a new thread's stack.
class NoNewThreads {
  public:
    NoNewThreads() {
        pthread_getattr_default_np(&_before);
        pthread_attr_t absurd;
        pthread_attr_init(&absurd);
        pthread_attr_setstacksize(&absurd, std::size_t{1} << (sizeof(void *) == 8 ? 47 : 31));
        pthread_setattr_default_np(&absurd);
        pthread_attr_destroy(&absurd);
    }
    ~NoNewThreads() {
        pthread_setattr_default_np(&_before);
        pthread_attr_destroy(&_before);
    }

  private:
    pthread_attr_t _before{};
};

} // namespace

TEST_F(NSThreadTest, KnowsTheMainThread) {
    bool onThread = true;
    bool onVisitor = true;
    NSThread::detachNewThread(nullptr, [&] { onThread = NSThread::isMainThread(); });
    std::thread([&] { onVisitor = NSThread::isMainThread(); }).join();
    runForSeconds(1);
    EXPECT_TRUE(NSThread::isMainThread());
    EXPECT_FALSE(onThread);
    EXPECT_FALSE(onVisitor);
}

TEST_F(NSThreadTest, RetainsItsTargetUntilTheActionHasReturned) {
    std::atomic<int> deaths{0};
    auto target = makeRetained<Tracked>(deaths);
    NSThread::detachNewThread(target.get(), [] { NSThread::sleepForTimeInterval(1); });
    EXPECT_EQ(target->retainCount(), 2u);
    target = nullptr;
    runForSeconds(0.5);
    EXPECT_EQ(deaths, 0);
    runForSeconds(1);
    EXPECT_EQ(deaths, 1);
}

TEST_F(NSThreadTest, DropsWhatTheActionHolds) {
    std::atomic<int> deaths{0};
    NSThread::detachNewThread(nullptr, [held = makeRetained<Tracked>(deaths)] {});
    runForSeconds(1);
    EXPECT_EQ(deaths, 1);
}

TEST_F(NSThreadTest, HasAnAutoreleasePoolAroundTheAction) {
    std::atomic<int> deaths{0};
    int deathsInside = -1;
    NSThread::detachNewThread(nullptr, [&] {
        autorelease(makeRetained<Tracked>(deaths));
        deathsInside = deaths;
    });
    runForSeconds(1);
    EXPECT_EQ(deathsInside, 0);
    EXPECT_EQ(deaths, 1);
}

TEST_F(NSThreadTest, CountsDetachedThreadsUntilTheyEnd) {
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
    for (int i = 1; i <= 3; ++i) {
        NSThread::detachNewThread(nullptr, [i] { NSThread::sleepForTimeInterval(i); });
    }
    EXPECT_EQ(NSThread::detachedThreadCount(), 3u);
    runForSeconds(1.5);
    EXPECT_EQ(NSThread::detachedThreadCount(), 2u);
    runForSeconds(2);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
}

TEST_F(NSThreadTest, ReportsAThreadThatTheSystemCouldNotStart) {
    std::atomic<int> deaths{0};
    bool ran = false;
    auto target = makeRetained<Tracked>(deaths);
    {
        const NoNewThreads limit;
        EXPECT_FALSE(NSThread::detachNewThread(target.get(), [&] { ran = true; }));
    }
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
    EXPECT_EQ(target->retainCount(), 1u);
    runForSeconds(1);
    EXPECT_FALSE(ran);
    EXPECT_EQ(elapsed(), 1);

    EXPECT_TRUE(NSThread::detachNewThread(nullptr, [&] { ran = true; }));
    runForSeconds(1);
    EXPECT_TRUE(ran);
}

TEST(NSThreadOnTheSystemClock, RunsTheActionOnAThreadOfItsOwn) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    bool onMain = true;
    ASSERT_TRUE(NSThread::detachNewThread(nullptr, [&] {
        const bool here = NSThread::isMainThread();
        loop.performSelectorOnMainThread(
            nullptr,
            [&, here] {
                onMain = here;
                loop.stop();
            },
            false);
    }));
    loop.runUntil(Clock::kNever);
    runMainLoopUntilIdle();
    EXPECT_FALSE(onMain);
    EXPECT_EQ(NSThread::detachedThreadCount(), 0u);
}

TEST(NSThreadOnTheSystemClock, SleepsAtLeastAsLongAsItWasTold) {
    const Clock::Nanoseconds start = Clock::current().now();
    NSThread::sleepForTimeInterval(0.002);
    EXPECT_GE(Clock::current().now() - start, 2'000'000);
}
