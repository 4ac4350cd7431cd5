#pragma once

#include "Platform/Foundation/NSObject.h"

/// A piece of work for an NSOperationQueue, which owns it while it waits or runs. Used once.
class PLATFORM_EXPORT NSOperation : public NSObject {
  public:
    NSOperation() = default;

    /// The work, on a thread of the queue's.
    virtual void main() {}

    /// Runs main() unless the operation was cancelled before. The queue calls it once.
    void start();

    /// An operation that has not begun will not run; one that runs may ask isCancelled(). Any
    /// thread.
    void cancel() noexcept;
    bool isCancelled() const noexcept;

    /// True once start() has returned. Any thread.
    bool isFinished() const noexcept;

  protected:
    ~NSOperation() override = default;

  private:
    std::atomic<bool> _cancelled{false};
    std::atomic<bool> _finished{false};
};
