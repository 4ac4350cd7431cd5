#include "Platform/Foundation/NSRunLoop.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSThread.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A thread that waits until the main thread has run its call.
struct Waiting {
    std::mutex mutex;
    ClockCondition changed;
    bool isOver = false;
};

} // namespace

struct NSRunLoop::Call {
    Clock::Nanoseconds due = 0;
    Retained<NSObject> target;
    std::string selector;
    std::function<void()> action;
    std::function<void()> finished;
};

/// The state that other threads use too, guarded by its mutex.
struct NSRunLoop::Queue {
    using Key = std::pair<Clock::Nanoseconds, std::uint64_t>;

    std::mutex mutex;
    ClockCondition changed;
    std::map<Key, Call> calls;
    // The map node of the last call that was taken. The next call reuses it, so that the calls of
    // each frame allocate no node.
    std::map<Key, Call>::node_type spare;
    std::uint64_t nextSequence = 0;
    bool stopped = false;
    RunLoopWaiter *waiter = nullptr;

    Clock::Nanoseconds nextDue() const {
        return calls.empty() ? Clock::kNever : calls.begin()->first.first;
    }

    /// Counts a call that falls due exactly at the deadline, even when the clock is past it.
    bool hasDueCall(Clock::Nanoseconds now, Clock::Nanoseconds deadline) const {
        return !calls.empty() && nextDue() <= std::min(now, deadline);
    }

    /// True when a run loop with that deadline need not wait.
    bool isReady(Clock::Nanoseconds now, Clock::Nanoseconds deadline) const {
        return stopped || now >= deadline || hasDueCall(now, deadline);
    }

    void wake() {
        changed.notifyAll();
        if (waiter) {
            waiter->wake();
        }
    }
};

NSRunLoop::NSRunLoop() : _queue(std::make_unique<Queue>()) {}

/// Never destroyed, because other threads may still enqueue calls while the process ends.
NSRunLoop &NSRunLoop::mainRunLoop() {
    static NSRunLoop *const loop = new NSRunLoop;
    return *loop;
}

void NSRunLoop::enqueue(Call call) {
    const std::lock_guard lock(_queue->mutex);
    const Queue::Key key{call.due, _queue->nextSequence++};
    if (_queue->spare) {
        _queue->spare.key() = key;
        _queue->spare.mapped() = std::move(call);
        _queue->calls.insert(std::move(_queue->spare));
    } else {
        _queue->calls.emplace(key, std::move(call));
    }
    _queue->wake();
}

void NSRunLoop::performSelector_afterDelay(NSObject *target, std::string_view selector,
                                           std::function<void()> action, NSTimeInterval delay) {
    enqueue({Clock::current().deadlineAfter(delay), Retained<NSObject>(target),
             std::string(selector), std::move(action), nullptr});
}

void NSRunLoop::cancelPreviousPerformRequestsWithTarget(NSObject *target,
                                                        std::string_view selector) {
    // Destroyed after the lock is released, because releasing a target may run any code.
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
    Waiting waiting;
    enqueue({now, Retained<NSObject>(target), {}, std::move(action), [&waiting] {
                 const std::lock_guard lock(waiting.mutex);
                 waiting.isOver = true;
                 waiting.changed.notifyAll();
             }});
    std::unique_lock lock(waiting.mutex);
    while (!waiting.isOver) {
        waiting.changed.wait(lock);
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
    TreeLock::yieldIfWanted();
    Call call;
    if (!takeNextCall(deadline, call)) {
        return false;
    }
    callOut(call);
    return true;
}

bool NSRunLoop::takeNextCall(Clock::Nanoseconds deadline, Call &call) {
    std::unique_lock lock(_queue->mutex);
    while (!_queue->isReady(Clock::current().now(), deadline)) {
        lock.unlock();
        waitForWork(deadline);
        lock.lock();
    }
    if (std::exchange(_queue->stopped, false) ||
        !_queue->hasDueCall(Clock::current().now(), deadline)) {
        return false;
    }
    _queue->spare = _queue->calls.extract(_queue->calls.begin());
    call = std::exchange(_queue->spare.mapped(), {});
    return true;
}

/// Waits until the queue changes or a call falls due. Checks the queue again after giving up the
/// tree, because another thread may have enqueued a call meanwhile. Releases the queue's mutex
/// before taking the tree back, so that a thread that holds the tree can enqueue calls.
void NSRunLoop::waitForWork(Clock::Nanoseconds deadline) {
    const TreeLock::Yield yield;
    std::unique_lock lock(_queue->mutex);
    const Clock::Nanoseconds now = Clock::current().now();
    if (_queue->isReady(now, deadline)) {
        return;
    }
    const Clock::Nanoseconds end = std::min(_queue->nextDue(), deadline);
    RunLoopWaiter *waiter = _queue->waiter;
    if (!waiter) {
        _queue->changed.wait(lock, end);
        return;
    }
    lock.unlock();
    waiter->wait(end == Clock::kNever ? end : end - now);
}

/// A thread that waits for the call is told only after the call's autorelease pool is drained.
void NSRunLoop::callOut(Call &call) {
    const NSObject *const outerTarget = std::exchange(_currentTarget, call.target.get());
    {
        const NSAutoreleasePool pool;
        ++_callOutNumber;
        if (_beforeCallOut) {
            _beforeCallOut();
        }
        call.action();
        call.action = nullptr;
        call.target = nullptr;
        if (_afterCallOut) {
            _afterCallOut();
        }
    }
    _currentTarget = outerTarget;
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
    return _queue->nextDue();
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
