#pragma once

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

/// How the main run loop waits when the host has a source of events of its own. `wait` is called
/// on the main thread and returns at the latest `nanoseconds` later (Clock::kNever: no limit) or
/// soon after `wake`, which any thread may call at any time: one that comes just before `wait` ends
/// it too. Other threads may change the view tree during `wait`, so it must not touch the tree: it
/// notes its events, and the host handles them in call-outs. `wake` must not call the run loop.
class PLATFORM_EXPORT RunLoopWaiter {
  public:
    virtual ~RunLoopWaiter() = default;
    virtual void wait(Clock::Nanoseconds nanoseconds) = 0;
    virtual void wake() = 0;
};

/// The main thread's queue of calls: deferred ones and those that other threads hand over. They run
/// in the order in which they fall due, those due at the same time in the order of their asking,
/// each inside an autorelease pool of its own.
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

    /// Serves calls until the clock reaches `deadline` (nanoseconds of the clock) or stop() is
    /// called. Main thread; so are all below unless they say otherwise.
    void runUntil(Clock::Nanoseconds deadline);
    void runForSeconds(NSTimeInterval seconds);

    /// Waits for the next call that falls due before or at `deadline` and serves it. False when
    /// there was none, or on stop().
    bool runNextCall(Clock::Nanoseconds deadline);

    /// Makes the innermost runUntil return as soon as the call-out in progress has; the next one at
    /// once when none runs. Any thread.
    void stop();

    /// Grows with every call-out, so that what belongs to one can be told from what came before. On
    /// threads that have the view tree.
    std::uint64_t callOutNumber() const { return _callOutNumber; }

    /// When the next pending call falls due; Clock::kNever when none is pending. Any thread.
    Clock::Nanoseconds nextDeadline() const;

    /// Whom the call-out in progress is for; null outside one and for a call without a target. Not
    /// kept alive: right after the call-out good for a comparison only.
    const NSObject *currentTarget() const { return _currentTarget; }

    /// Called right before and right after every call-out, inside its autorelease pool; null for
    /// nothing. Not to be set by an observer.
    void setObservers(std::function<void()> beforeCallOut, std::function<void()> afterCallOut);

    /// Lets the host wait in its own way; null for the clock's. Not owned. Only for a clock that
    /// runs by itself.
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
