#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/TreeLock.h"

#include <functional>

/// Threads that the clock knows about, so that they work under simulated time too.
class PLATFORM_EXPORT NSThread {
  public:
    static bool isMainThread() noexcept { return currentThreadIsMain; }

    /// Runs `action` on a new thread, inside an autorelease pool. `target` (which may be null) is
    /// retained until the action has returned. False when the system cannot start a thread; the
    /// action then never runs.
    static bool detachNewThread(NSObject *target, std::function<void()> action);

    /// Waits that many seconds of the clock; returns at once for 0 or less. While the main thread
    /// waits here, other threads may change the view tree.
    static void sleepForTimeInterval(NSTimeInterval seconds);

    /// The number of threads begun with detachNewThread that have not ended. Any thread.
    static NSUInteger detachedThreadCount() noexcept;
};
