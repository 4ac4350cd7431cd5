#pragma once

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/SimulatedClock.h"

#include <gtest/gtest.h>

/// Simulated time and the main run loop in it. When it goes, everything that the test left behind
/// has run out, so that the next test finds a quiet platform.
class SimulatedMainLoop {
  public:
    SimulatedMainLoop() { Clock::setCurrent(&_clock); }

    ~SimulatedMainLoop() {
        settle();
        Clock::setCurrent(nullptr);
    }

    SimulatedMainLoop(const SimulatedMainLoop &) = delete;
    SimulatedMainLoop &operator=(const SimulatedMainLoop &) = delete;

    /// Nanoseconds since the clock's start.
    Clock::Nanoseconds now() { return _clock.now() - SimulatedClock::kStart; }

    /// Serves everything that falls due in that time, its last instant included.
    void run(NSTimeInterval seconds) { NSRunLoop::mainRunLoop().runForSeconds(seconds); }

    /// Serves what is due until no thread is left and nothing is pending.
    void settle() {
        const auto isBusy = [] {
            return NSThread::detachedThreadCount() > 0 ||
                   NSRunLoop::mainRunLoop().nextDeadline() != Clock::kNever;
        };
        for (int round = 0; round < 200 && isBusy(); ++round) {
            run(0.05);
        }
        EXPECT_FALSE(isBusy()) << "something that the test began never ends";
    }

  private:
    SimulatedClock _clock;
    // Drained before the platform is looked at for the last time.
    NSAutoreleasePool _pool;
};
