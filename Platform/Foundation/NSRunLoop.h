#pragma once

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

/// Replaces the main run loop's wait in a host with an event source of its own. `wait` is called on
/// the main thread and returns after `nanoseconds` at the latest (Clock::kNever: no limit) or soon
/// after `wake`, which any thread may call at any time; a `wake` just before `wait` ends it too.
/// Other threads may change the view tree during `wait`, so it must not touch the tree: it only
/// collects events, and the host handles them in call-outs. `wake` must not call the run loop.
class PLATFORM_EXPORT RunLoopWaiter {
  public:
    virtual ~RunLoopWaiter() = default;
    virtual void wait(Clock::Nanoseconds nanoseconds) = 0;
    virtual void wake() = 0;
};

/// The main thread's queue of calls, both deferred ones and those from other threads. They run in
/// the order in which they fall due, calls due at the same time in the order of the requests, each
/// inside an autorelease pool of its own.
class PLATFORM_EXPORT NSRunLoop {
  public:
    static NSRunLoop &mainRunLoop();

    /// Runs `action` on the main thread `delay` seconds from now (0 or less: at the next turn of
    /// the loop). `target` (which may be null) is retained until the action has returned or was
    /// cancelled; `selector` names the request. Any thread.
    void performSelector_afterDelay(NSObject *target, std::string_view selector,
                                    std::function<void()> action, NSTimeInterval delay);

    /// Drops every pending request of that target and name. Any thread.
    void cancelPreviousPerformRequestsWithTarget(NSObject *target, std::string_view selector);

    /// Runs `action` on the main thread, with `target` (which may be null) retained until it has
    /// returned. With `waitUntilDone` the call returns after the action has; made on the main
    /// thread it then runs it at once. Any thread.
    void performSelectorOnMainThread(NSObject *target, std::function<void()> action,
                                     bool waitUntilDone);

    /// Runs calls until the clock reaches `deadline` (nanoseconds of the clock) or stop() is
    /// called. Main thread, as all members below that do not say otherwise.
    void runUntil(Clock::Nanoseconds deadline);
    void runForSeconds(NSTimeInterval seconds);

    /// Waits for the next call that falls due at `deadline` or before and runs it. False when there
    /// is none, or on stop().
    bool runNextCall(Clock::Nanoseconds deadline);

    /// Makes the innermost runUntil return after the call-out in progress. When none is running,
    /// the next one returns at once. Any thread.
    void stop();

    /// Grows with every call-out, so that one call-out can be told from the next. For threads that
    /// hold the view tree.
    std::uint64_t callOutNumber() const { return _callOutNumber; }

    /// When the next pending call falls due; Clock::kNever when none is pending. Any thread.
    Clock::Nanoseconds nextDeadline() const;

    /// The target of the call-out in progress; null outside one and for a call without a target.
    /// The call-out may have released it: an observer may compare the pointer, no more.
    const NSObject *currentTarget() const { return _currentTarget; }

    /// Sets functions that are called right before and right after every call-out, inside its
    /// autorelease pool; either may be null. An observer must not call this.
    void setObservers(std::function<void()> beforeCallOut, std::function<void()> afterCallOut);

    /// Makes the loop wait through `waiter`; null restores waiting by the clock. Not owned. Not for
    /// use with a simulated clock.
    void setWaiter(RunLoopWaiter *waiter);

    NSRunLoop(const NSRunLoop &) = delete;
    NSRunLoop &operator=(const NSRunLoop &) = delete;
    ~NSRunLoop() = delete;

  private:
    struct Call;
    struct Queue;

    NSRunLoop();

    void enqueue(Call call);
    bool takeNextCall(Clock::Nanoseconds deadline, Call &call);
    void waitForWork(Clock::Nanoseconds deadline);
    void callOut(Call &call);

    std::unique_ptr<Queue> _queue;
    const NSObject *_currentTarget = nullptr;
    std::uint64_t _callOutNumber = 1;
    std::function<void()> _beforeCallOut;
    std::function<void()> _afterCallOut;
};
