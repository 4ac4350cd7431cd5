#include "Host/Support/DescriptorWaiter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <thread>
#include <unistd.h>

using namespace Lumivera;

namespace {

constexpr NSTimeInterval kFailureTime = 60;

/// The reading end of a pipe; the test writes into the other end.
class PipeSource final : public DescriptorSource {
  public:
    PipeSource() { EXPECT_EQ(pipe2(_ends, O_CLOEXEC | O_NONBLOCK), 0); }
    ~PipeSource() {
        close(_ends[0]);
        close(_ends[1]);
    }

    int descriptor() const override { return _ends[0]; }

    bool prepareToWait() override {
        ++waits;
        beforeWait();
        return false;
    }

    void serve() override {
        char byte = 0;
        servings += read(_ends[0], &byte, 1) == 1;
        whenServed();
    }

    void send() { EXPECT_EQ(write(_ends[1], "!", 1), 1); }

    std::function<void()> beforeWait = [] {};
    std::function<void()> whenServed = [] {};
    int waits = 0;
    int servings = 0;

  private:
    int _ends[2];
};

class DescriptorWaiterTest : public ::testing::Test {
  protected:
    DescriptorWaiterTest() { _waiter.add(_source); }
    ~DescriptorWaiterTest() override { _waiter.remove(_source); }

    NSRunLoop &_loop = NSRunLoop::mainRunLoop();
    DescriptorWaiter _waiter;
    PipeSource _source;
};

} // namespace

TEST_F(DescriptorWaiterTest, ServesASourceOnceForWhatArrives) {
    _source.whenServed = [this] { _loop.stop(); };
    _source.send();
    _loop.runForSeconds(kFailureTime);
    EXPECT_EQ(_source.servings, 1);
}

TEST_F(DescriptorWaiterTest, WaitsOnceMoreAfterItHasServed) {
    _source.whenServed = [this] { _source.waits = 0; };
    _source.send();
    _loop.runForSeconds(0.05);
    EXPECT_EQ(_source.servings, 1);
    EXPECT_EQ(_source.waits, 1);
}

TEST_F(DescriptorWaiterTest, IsWokenForACallOfAnotherThread) {
    std::thread other;
    _source.beforeWait = [&] {
        if (!other.joinable()) {
            other = std::thread([this] {
                _loop.performSelectorOnMainThread(
                    nullptr, [this] { _loop.stop(); }, true);
            });
        }
    };
    const Clock::Nanoseconds end = Clock::current().deadlineAfter(kFailureTime);
    _loop.runUntil(end);
    EXPECT_LT(Clock::current().now(), end);
    other.join();
}

TEST_F(DescriptorWaiterTest, DoesNotWaitAfterItWasWokenRightBefore) {
    _source.beforeWait = [this] { _loop.stop(); };
    const Clock::Nanoseconds end = Clock::current().deadlineAfter(kFailureTime);
    _loop.runUntil(end);
    EXPECT_LT(Clock::current().now(), end);
    EXPECT_EQ(_source.waits, 1);
}
