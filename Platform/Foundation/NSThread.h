#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/TreeLock.h"

#include <functional>

/// Threads as the clock knows them.
class PLATFORM_EXPORT NSThread {
  public:
    static bool isMainThread() noexcept { return currentThreadIsMain; }

    /// Runs `action` on a new thread of its own, with an autorelease pool around it. `target`
    /// (which may be null) is retained until the action has returned. False when the system gives
    /// no thread; the action then never runs.
    static bool detachNewThread(NSObject *target, std::function<void()> action);

    /// Waits that many seconds of the clock; 0 or less returns at once. A wait on the main thread
    /// lets other threads change the view tree meanwhile.
    static void sleepForTimeInterval(NSTimeInterval seconds);

    /// Threads begun with detachNewThread that have not ended yet. Any thread.
    static NSUInteger detachedThreadCount() noexcept;
};
