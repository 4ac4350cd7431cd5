#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

/// A condition variable whose waits the clock knows about, so that simulated time can tell when
/// every thread waits. All blocking in the platform goes through one of these.
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

/// The clock that everything in the platform uses to tell the time and to wait. Times are whole
/// nanoseconds since an arbitrary start and never run backwards.
class PLATFORM_EXPORT Clock {
  public:
    using Nanoseconds = std::int64_t;

    /// A deadline that never comes.
    static constexpr Nanoseconds kNever = std::numeric_limits<Nanoseconds>::max();

    virtual ~Clock() = default;

    /// The current clock: the system's monotonic clock unless another was installed.
    static Clock &current();

    /// Installs another clock; null restores the system's. Main thread only, while no thread of
    /// the platform runs and no deferred call is pending. Not owned: it must outlive its use.
    static void setCurrent(Clock *clock);

    /// Any thread.
    virtual Nanoseconds now() = 0;

    virtual void wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
                      Nanoseconds deadline) = 0;
    virtual void notifyAll(ClockCondition &condition) = 0;

    /// What a clock keeps about a thread between the calls below; null when it keeps nothing.
    class ThreadRecord {
      public:
        virtual ~ThreadRecord() = default;
    };

    /// Called by NSThread: threadAnnounced() by the parent before the thread starts, threadBegan()
    /// by the thread when it begins, threadEnded() by the thread as its last act.
    virtual std::unique_ptr<ThreadRecord> threadAnnounced() { return nullptr; }
    virtual void threadBegan(std::unique_ptr<ThreadRecord>) {}
    virtual void threadEnded() {}

    /// Seconds as nanoseconds, rounded and clamped to the range of the type, so that an infinite
    /// delay gives kNever. NaN gives 0.
    static Nanoseconds nanoseconds(double seconds);

    /// The time `seconds` from now, clamped likewise; a negative delay counts as 0.
    Nanoseconds deadlineAfter(double seconds);
};
