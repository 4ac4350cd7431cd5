#pragma once

#include "Platform/Foundation/Retained.h"

#include <mutex>
#include <vector>

/// A piece of work for an NSOperationQueue, which owns it while it waits or runs. Used once.
class PLATFORM_EXPORT NSOperation : public NSObject {
  public:
    NSOperation() = default;

    /// The work. Called on a thread of the queue.
    virtual void main() {}

    /// Runs main() unless the operation was cancelled before. The queue calls it once.
    void start();

    /// Keeps an operation that has not begun from running; one that runs may ask isCancelled().
    /// Any thread.
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

/// Runs operations, several at once, each on a thread that lasts as long as the operation. Every
/// member may be called from any thread. A queue that is released while operations run lives on
/// until the last of them ends.
class PLATFORM_EXPORT NSOperationQueue : public NSObject {
  public:
    NSOperationQueue() = default;

    /// Begins the operation at once, or when the queue is no longer suspended. Null is ignored. An
    /// operation is dropped and never runs when the system cannot start a thread for it.
    void addOperation(Retained<NSOperation> operation);

    /// A suspended queue begins no operation; those that run already continue.
    void setSuspended(bool suspended);
    bool isSuspended() const;

    /// Cancels every operation that waits or runs. One that runs ends when its main() returns.
    void cancelAllOperations();

    /// The number of operations that wait or run.
    NSUInteger operationCount() const;

  protected:
    ~NSOperationQueue() override = default;

  private:
    void beginWaitingOperations();
    void begin(const Retained<NSOperation> &operation);
    void operationEnded(const NSOperation *operation);

    mutable std::mutex _mutex;
    std::vector<Retained<NSOperation>> _waiting;
    std::vector<Retained<NSOperation>> _running;
    bool _suspended = false;
};
