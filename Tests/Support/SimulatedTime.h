#pragma once

#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/SimulatedClock.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// Serves the main run loop, on whatever clock is in force, until no call is pending, no detached
/// thread is left and no stop() is left over. Ends the program when that takes too many turns: the
/// threads that are left would outlive the test's clock.
inline void runMainLoopUntilIdle() {
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    for (int turn = 0; turn < 200'000; ++turn) {
        const Clock::Nanoseconds due = loop.nextDeadline();
        if (due == Clock::kNever && NSThread::detachedThreadCount() == 0) {
            loop.runUntil(Clock::current().now());
            return;
        }
        loop.runNextCall(due == Clock::kNever ? Clock::current().deadlineAfter(0.001) : due);
    }
    std::fprintf(stderr, "The test left calls or threads behind that do not end.\n");
    std::abort();
}

/// Gives each test a fresh simulated clock. When the test is over, and again when the members of
/// its fixture are gone, the main run loop runs until nothing is pending and no thread is left.
class SimulatedTimeTest : public ::testing::Test {
  public:
    SimulatedTimeTest() { Clock::setCurrent(&_clock); }

    ~SimulatedTimeTest() override {
        runMainLoopUntilIdle();
        Clock::setCurrent(nullptr);
    }

    void TearDown() override { runMainLoopUntilIdle(); }

  protected:
    static NSRunLoop &loop() { return NSRunLoop::mainRunLoop(); }

    Clock::Nanoseconds now() { return _clock.now(); }

    /// Seconds since the test began.
    double elapsed() { return static_cast<double>(now() - SimulatedClock::kStart) / 1e9; }

    static void runForSeconds(double seconds) { loop().runForSeconds(seconds); }

    /// Serves calls one by one until `condition` holds; false when it still does not after that
    /// many seconds.
    static bool runUntil(const std::function<bool()> &condition, double seconds = 60) {
        const Clock::Nanoseconds end = Clock::current().deadlineAfter(seconds);
        while (!condition()) {
            if (!loop().runNextCall(end)) {
                return condition();
            }
        }
        return true;
    }

  private:
    SimulatedClock _clock;
};

/// Records the log's lines instead of printing them, while it lives.
class LogRecorder {
  public:
    LogRecorder() {
        NSLogSetSink([this](std::string_view line) {
            const std::lock_guard lock(_mutex);
            _lines.emplace_back(line);
        });
    }
    ~LogRecorder() { NSLogSetSink(nullptr); }
    LogRecorder(const LogRecorder &) = delete;
    LogRecorder &operator=(const LogRecorder &) = delete;

    std::vector<std::string> lines() const {
        const std::lock_guard lock(_mutex);
        return _lines;
    }

  private:
    mutable std::mutex _mutex;
    std::vector<std::string> _lines;
};
