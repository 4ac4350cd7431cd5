#include "Platform/Foundation/NSThread.h"

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/NSAutoreleasePool.h"

#include <memory>
#include <system_error>
#include <thread>

namespace {

std::atomic<NSUInteger> detachedThreads{0};

void runDetached(Clock &clock, std::unique_ptr<Clock::ThreadRecord> record,
                 Retained<NSObject> target, std::function<void()> action) {
    clock.threadBegan(std::move(record));
    {
        const NSAutoreleasePool pool;
        action();
        action = nullptr;
        target = nullptr;
    }
    detachedThreads.fetch_sub(1, std::memory_order_release);
    clock.threadEnded();
}

} // namespace

bool NSThread::detachNewThread(NSObject *target, std::function<void()> action) {
    Clock &clock = Clock::current();
    std::unique_ptr<Clock::ThreadRecord> record = clock.threadAnnounced();
    detachedThreads.fetch_add(1, std::memory_order_relaxed);
    try {
        std::thread(runDetached, std::ref(clock), std::move(record), Retained<NSObject>(target),
                    std::move(action))
            .detach();
    } catch (const std::system_error &) {
        detachedThreads.fetch_sub(1, std::memory_order_relaxed);
        return false;
    }
    return true;
}

void NSThread::sleepForTimeInterval(NSTimeInterval seconds) {
    if (!(seconds > 0)) {
        return;
    }
    const Clock::Nanoseconds deadline = Clock::current().deadlineAfter(seconds);
    const TreeLock::Yield yield;
    std::mutex mutex;
    ClockCondition never;
    std::unique_lock lock(mutex);
    while (Clock::current().now() < deadline) {
        never.wait(lock, deadline);
    }
}

NSUInteger NSThread::detachedThreadCount() noexcept {
    return detachedThreads.load(std::memory_order_acquire);
}
