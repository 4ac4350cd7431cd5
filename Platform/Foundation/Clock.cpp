#include "Platform/Foundation/Clock.h"

#include <atomic>
#include <chrono>
#include <cmath>

class SystemClock : public Clock {
  public:
    Nanoseconds now() override {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    void wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
              Nanoseconds deadline) override {
        if (deadline == kNever) {
            condition._condition.wait(lock);
            return;
        }
        const std::chrono::steady_clock::time_point due{std::chrono::nanoseconds(deadline)};
        condition._condition.wait_until(lock, due);
    }

    void notifyAll(ClockCondition &condition) override { condition._condition.notify_all(); }
};

namespace {

std::atomic<Clock *> installedClock{nullptr};

/// Never destroyed, because threads may still wait on it while the process ends.
Clock &systemClock() {
    static Clock *const clock = new SystemClock;
    return *clock;
}

} // namespace

void ClockCondition::wait(std::unique_lock<std::mutex> &lock, std::int64_t deadline) {
    Clock::current().wait(*this, lock, deadline);
}

void ClockCondition::notifyAll() { Clock::current().notifyAll(*this); }

Clock &Clock::current() {
    Clock *clock = installedClock.load(std::memory_order_acquire);
    return clock ? *clock : systemClock();
}

void Clock::setCurrent(Clock *clock) { installedClock.store(clock, std::memory_order_release); }

Clock::Nanoseconds Clock::nanoseconds(double seconds) {
    const double count = std::round(seconds * 1e9);
    if (std::isnan(count)) {
        return 0;
    }
    if (count >= 0x1p63) {
        return kNever;
    }
    return count < -0x1p63 ? std::numeric_limits<Nanoseconds>::min()
                           : static_cast<Nanoseconds>(count);
}

Clock::Nanoseconds Clock::deadlineAfter(double seconds) {
    const Nanoseconds start = now();
    const Nanoseconds delay = seconds > 0 ? nanoseconds(seconds) : 0;
    return delay > kNever - start ? kNever : start + delay;
}
