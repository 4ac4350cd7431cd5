#include "Platform/Foundation/NSOperation.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>

namespace {

/// An operation that runs a piece of code and counts its own destruction.
class Work final : public NSOperation {
  public:
    Work(std::function<void(Work &)> action, std::atomic<int> &deaths)
        : _action(std::move(action)), _deaths(deaths) {}
    void main() override { _action(*this); }

  private:
    ~Work() override { ++_deaths; }

    std::function<void(Work &)> _action;
    std::atomic<int> &_deaths;
};

class NSOperationQueueTest : public SimulatedTimeTest {
  protected:
    Retained<Work> work(std::function<void(Work &)> action) {
        return makeRetained<Work>(std::move(action), _deaths);
    }

    /// Appends the name when it starts and again when it ends, that many seconds later.
    Retained<Work> sleeper(const std::string &name, double seconds) {
        return work([this, name, seconds](Work &) {
            _trace += name;
            NSThread::sleepForTimeInterval(seconds);
            _trace += name;
        });
    }

    std::string _trace;
    std::atomic<int> _deaths{0};
    Retained<NSOperationQueue> _queue = makeRetained<NSOperationQueue>();
};

} // namespace

TEST_F(NSOperationQueueTest, RunsAnOperationOnAThreadOfItsOwn) {
    bool onMain = true;
    _queue->addOperation(work([&](Work &) { onMain = NSThread::isMainThread(); }));
    EXPECT_EQ(_queue->operationCount(), 1u);
    runForSeconds(1);
    EXPECT_FALSE(onMain);
    EXPECT_EQ(_queue->operationCount(), 0u);
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSOperationQueueTest, RunsSeveralOperationsAtOnce) {
    _queue->addOperation(sleeper("a", 3));
    _queue->addOperation(sleeper("b", 1));
    _queue->addOperation(sleeper("c", 2));
    runForSeconds(0.5);
    EXPECT_EQ(_trace, "abc");
    EXPECT_EQ(_queue->operationCount(), 3u);
    runForSeconds(5);
    EXPECT_EQ(_trace, "abcbca");
    EXPECT_EQ(_queue->operationCount(), 0u);
}

TEST_F(NSOperationQueueTest, IgnoresNull) {
    _queue->addOperation(nullptr);
    EXPECT_EQ(_queue->operationCount(), 0u);
}

TEST_F(NSOperationQueueTest, BeginsNothingWhileItIsSuspended) {
    _queue->setSuspended(true);
    EXPECT_TRUE(_queue->isSuspended());
    _queue->addOperation(sleeper("a", 1));
    _queue->addOperation(sleeper("b", 1));
    runForSeconds(5);
    EXPECT_EQ(_trace, "");
    EXPECT_EQ(_queue->operationCount(), 2u);
    _queue->setSuspended(false);
    EXPECT_FALSE(_queue->isSuspended());
    runForSeconds(5);
    EXPECT_EQ(_trace, "abab");
}

TEST_F(NSOperationQueueTest, LetsARunningOperationGoOnWhenItIsSuspended) {
    _queue->addOperation(sleeper("a", 2));
    runForSeconds(1);
    _queue->setSuspended(true);
    runForSeconds(5);
    EXPECT_EQ(_trace, "aa");
}

TEST_F(NSOperationQueueTest, ACancelledOperationNeverRuns) {
    _queue->setSuspended(true);
    _queue->addOperation(sleeper("a", 1));
    _queue->cancelAllOperations();
    _queue->addOperation(sleeper("b", 1));
    _queue->setSuspended(false);
    runForSeconds(5);
    EXPECT_EQ(_trace, "bb");
    EXPECT_EQ(_queue->operationCount(), 0u);
    EXPECT_EQ(_deaths, 2);
}

TEST_F(NSOperationQueueTest, CancellingTellsARunningOperationAndDoesNotInterruptIt) {
    bool before = true;
    bool after = false;
    _queue->addOperation(work([&](Work &self) {
        before = self.isCancelled();
        NSThread::sleepForTimeInterval(2);
        after = self.isCancelled();
        _trace += "end";
    }));
    runForSeconds(1);
    _queue->cancelAllOperations();
    runForSeconds(5);
    EXPECT_FALSE(before);
    EXPECT_TRUE(after);
    EXPECT_EQ(_trace, "end");
}

TEST_F(NSOperationQueueTest, IsReleasedWhileAnOperationRuns) {
    _queue->addOperation(sleeper("a", 2));
    runForSeconds(1);
    EXPECT_GT(_queue->retainCount(), 1u);
    _queue = nullptr;
    runForSeconds(5);
    EXPECT_EQ(_trace, "aa");
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSOperationQueueTest, DropsOperationsThatNeverBeganWithItself) {
    _queue->setSuspended(true);
    _queue->addOperation(sleeper("a", 1));
    _queue = nullptr;
    EXPECT_EQ(_deaths, 1);
    runForSeconds(5);
    EXPECT_EQ(_trace, "");
}

TEST_F(NSOperationQueueTest, AnOperationMayAddAnother) {
    _queue->addOperation(work([this](Work &) {
        _trace += "a";
        _queue->addOperation(sleeper("b", 1));
    }));
    runForSeconds(5);
    EXPECT_EQ(_trace, "abb");
}

TEST_F(NSOperationQueueTest, AnOperationHasAnAutoreleasePool) {
    std::atomic<int> objects{0};
    _queue->addOperation(work([&](Work &) { autorelease(makeRetained<Tracked>(objects)); }));
    runForSeconds(1);
    EXPECT_EQ(objects, 1);
}

TEST(NSOperationQueueOnTheSystemClock, RunsOperationsAtOnceAndCountsThemDown) {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    std::atomic<int> deaths{0};
    std::latch meeting(3);
    const auto queue = makeRetained<NSOperationQueue>();
    for (int i = 0; i < 3; ++i) {
        queue->addOperation(makeRetained<Work>(
            [&](Work &) {
                // Each waits for the others, so they must run at the same time.
                meeting.arrive_and_wait();
                loop.performSelectorOnMainThread(
                    nullptr, [] {}, true);
            },
            deaths));
    }
    runMainLoopUntilIdle();
    EXPECT_TRUE(meeting.try_wait());
    EXPECT_EQ(queue->operationCount(), 0u);
    EXPECT_EQ(deaths, 3);
}
