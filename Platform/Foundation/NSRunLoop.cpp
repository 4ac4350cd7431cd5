#include "Platform/Foundation/NSRunLoop.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSThread.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct NSRunLoop::Call {
    Clock::Nanoseconds due = 0;
    Retained<NSObject> target;
    std::string selector;
    std::function<void()> action;
    std::function<void()> finished;
};

/// Everything that other threads touch, guarded by its mutex.
struct NSRunLoop::Queue {
    using Key = std::pair<Clock::Nanoseconds, std::uint64_t>;

    std::mutex mutex;
    ClockCondition changed;
    std::map<Key, Call> calls;
    std::uint64_t nextSequence = 0;
    bool stopped = false;
    RunLoopWaiter *waiter = nullptr;

    void wake() {
        changed.notifyAll();
        if (waiter) {
            waiter->wake();
        }
    }
};

NSRunLoop::NSRunLoop() : _queue(std::make_unique<Queue>()) {}

// Never destroyed: other threads may still hand calls over while the process ends.
NSRunLoop &NSRunLoop::mainRunLoop() {
    static NSRunLoop *const loop = new NSRunLoop;
    return *loop;
}

void NSRunLoop::enqueue(Call call) {
    const std::lock_guard lock(_queue->mutex);
    const Queue::Key key{call.due, _queue->nextSequence++};
    _queue->calls.emplace(key, std::move(call));
    _queue->wake();
}

void NSRunLoop::performSelector_afterDelay(NSObject *target, std::string_view selector,
                                           std::function<void()> action, NSTimeInterval delay) {
    enqueue({Clock::current().deadlineAfter(delay), Retained<NSObject>(target),
             std::string(selector), std::move(action), nullptr});
}

void NSRunLoop::cancelPreviousPerformRequestsWithTarget(NSObject *target,
                                                        std::string_view selector) {
    // The requests go after the lock: releasing a target may run any code.
    std::vector<Call> cancelled;
    const std::lock_guard lock(_queue->mutex);
    for (auto entry = _queue->calls.begin(); entry != _queue->calls.end();) {
        Call &call = entry->second;
        if (call.target == target && call.selector == selector && !selector.empty()) {
            cancelled.push_back(std::move(call));
            entry = _queue->calls.erase(entry);
        } else {
            ++entry;
        }
    }
}

void NSRunLoop::performSelectorOnMainThread(NSObject *target, std::function<void()> action,
                                            bool waitUntilDone) {
    if (waitUntilDone && NSThread::isMainThread()) {
        const Retained<NSObject> alive(target);
        action();
        return;
    }
    const Clock::Nanoseconds now = Clock::current().now();
    if (!waitUntilDone) {
        enqueue({now, Retained<NSObject>(target), {}, std::move(action), nullptr});
        return;
    }
    std::mutex mutex;
    ClockCondition finished;
    bool isFinished = false;
    enqueue({now, Retained<NSObject>(target), {}, std::move(action), [&] {
                 const std::lock_guard lock(mutex);
                 isFinished = true;
                 finished.notifyAll();
             }});
    std::unique_lock lock(mutex);
    while (!isFinished) {
        finished.wait(lock);
    }
}

void NSRunLoop::runUntil(Clock::Nanoseconds deadline) {
    while (runNextCall(deadline)) {
    }
}

void NSRunLoop::runForSeconds(NSTimeInterval seconds) {
    runUntil(Clock::current().deadlineAfter(seconds));
}

bool NSRunLoop::runNextCall(Clock::Nanoseconds deadline) {
    Call call;
    if (!takeNextCall(deadline, call)) {
        return false;
    }
    callOut(call);
    return true;
}

/// Time out is looked at only when nothing is due, so that a call that falls due exactly at the
/// deadline is still served.
bool NSRunLoop::takeNextCall(Clock::Nanoseconds deadline, Call &call) {
    std::unique_lock lock(_queue->mutex);
    while (true) {
        if (std::exchange(_queue->stopped, false)) {
            return false;
        }
        const Clock::Nanoseconds now = Clock::current().now();
        const auto first = _queue->calls.begin();
        const bool any = first != _queue->calls.end();
        if (any && first->first.first <= std::min(now, deadline)) {
            call = std::move(first->second);
            _queue->calls.erase(first);
            return true;
        }
        if (now >= deadline) {
            return false;
        }
        waitForWork(lock, any ? std::min(first->first.first, deadline) : deadline);
    }
}

void NSRunLoop::waitForWork(std::unique_lock<std::mutex> &lock, Clock::Nanoseconds deadline) {
    RunLoopWaiter *waiter = _queue->waiter;
    if (!waiter) {
        lock.unlock();
        {
            const TreeLock::Yield yield;
            lock.lock();
            const bool due = !_queue->calls.empty() &&
                             _queue->calls.begin()->first.first <= Clock::current().now();
            if (!due && !_queue->stopped) {
                _queue->changed.wait(lock, deadline);
            }
            lock.unlock();
        }
        lock.lock();
        return;
    }
    lock.unlock();
    {
        const TreeLock::Yield yield;
        const Clock::Nanoseconds now = Clock::current().now();
        waiter->wait(deadline == Clock::kNever ? deadline
                                               : std::max<Clock::Nanoseconds>(deadline - now, 0));
    }
    lock.lock();
}

void NSRunLoop::callOut(Call &call) {
    const NSAutoreleasePool pool;
    if (_beforeCallOut) {
        _beforeCallOut();
    }
    call.action();
    call.action = nullptr;
    call.target = nullptr;
    if (_afterCallOut) {
        _afterCallOut();
    }
    if (call.finished) {
        call.finished();
    }
}

void NSRunLoop::stop() {
    const std::lock_guard lock(_queue->mutex);
    _queue->stopped = true;
    _queue->wake();
}

Clock::Nanoseconds NSRunLoop::nextDeadline() const {
    const std::lock_guard lock(_queue->mutex);
    return _queue->calls.empty() ? Clock::kNever : _queue->calls.begin()->first.first;
}

void NSRunLoop::setObservers(std::function<void()> beforeCallOut,
                             std::function<void()> afterCallOut) {
    _beforeCallOut = std::move(beforeCallOut);
    _afterCallOut = std::move(afterCallOut);
}

void NSRunLoop::setWaiter(RunLoopWaiter *waiter) {
    const std::lock_guard lock(_queue->mutex);
    _queue->waiter = waiter;
}
