#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

/// A condition variable whose waits the clock knows about, so that simulated time can tell when
/// every thread waits. Everything in the platform that blocks does so through one of these.
class PLATFORM_EXPORT ClockCondition {
  public:
    /// Gives up `lock`, waits for a notification or until the clock reaches `deadline`
    /// (nanoseconds), and takes the lock again. May return early: callers test their own state.
    void wait(std::unique_lock<std::mutex> &lock,
              std::int64_t deadline = std::numeric_limits<std::int64_t>::max());

    /// Wakes every waiter. The caller holds the mutex that the waiters gave up.
    void notifyAll();

  private:
    friend class SystemClock;
    std::condition_variable _condition;
};

/// The one clock under everything that asks the time or waits. Times are whole nanoseconds since a
/// start of the clock's own, and never run backwards.
class PLATFORM_EXPORT Clock {
  public:
    using Nanoseconds = std::int64_t;

    /// A deadline that never comes.
    static constexpr Nanoseconds kNever = std::numeric_limits<Nanoseconds>::max();

    virtual ~Clock() = default;

    /// The clock in force: the system's monotonic clock unless another was installed.
    static Clock &current();

    /// Puts another clock in force, null for the system's. Main thread only, while no thread of
    /// the platform runs and no deferred call is pending. Not owned: it must outlive its use.
    static void setCurrent(Clock *clock);

    /// Any thread.
    virtual Nanoseconds now() = 0;

    virtual void wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
                      Nanoseconds deadline) = 0;
    virtual void notifyAll(ClockCondition &condition) = 0;

    /// What a clock keeps of a thread between these calls; null where it keeps nothing.
    class ThreadRecord {
      public:
        virtual ~ThreadRecord() = default;
    };

    /// NSThread tells the clock about its threads: the parent announces the thread before it
    /// starts; the thread itself says when it begins and, last of all, when it ends.
    virtual std::unique_ptr<ThreadRecord> threadAnnounced() { return nullptr; }
    virtual void threadBegan(std::unique_ptr<ThreadRecord>) {}
    virtual void threadEnded() {}

    /// Seconds as nanoseconds, to the nearest one; clamped to what the type holds, so that an
    /// infinite delay never comes and a NaN counts as 0.
    static Nanoseconds nanoseconds(double seconds);

    /// now + seconds, clamped likewise; a negative delay counts as 0.
    Nanoseconds deadlineAfter(double seconds);
};
