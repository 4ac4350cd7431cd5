#pragma once

#include "Platform/Foundation/NSOperation.h"
#include "Platform/Foundation/Retained.h"

#include <mutex>
#include <vector>

/// Runs operations, several at once, each on a thread that lasts as long as the operation. Every
/// member may be called from any thread. A queue that is released while operations run lives on
/// until the last of them ends.
class PLATFORM_EXPORT NSOperationQueue : public NSObject {
  public:
    NSOperationQueue() = default;

    /// Begins the operation at once, or when the queue is no longer suspended. Null is ignored. An
    /// operation for which the system gives no thread is dropped and never runs.
    void addOperation(Retained<NSOperation> operation);

    /// A suspended queue begins nothing; what runs already runs on.
    void setSuspended(bool suspended);
    bool isSuspended() const;

    /// Cancels every operation that waits or runs. One that runs ends when it wants to.
    void cancelAllOperations();

    /// Operations that wait or run.
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
