#include "Platform/Foundation/NSOperation.h"

#include "Platform/Foundation/NSThread.h"

#include <algorithm>

void NSOperation::start() {
    if (!isCancelled()) {
        main();
    }
    _finished.store(true, std::memory_order_release);
}

void NSOperation::cancel() noexcept { _cancelled.store(true, std::memory_order_relaxed); }

bool NSOperation::isCancelled() const noexcept {
    return _cancelled.load(std::memory_order_relaxed);
}

bool NSOperation::isFinished() const noexcept { return _finished.load(std::memory_order_acquire); }

void NSOperationQueue::addOperation(Retained<NSOperation> operation) {
    if (!operation) {
        return;
    }
    {
        const std::lock_guard lock(_mutex);
        _waiting.push_back(std::move(operation));
    }
    beginWaitingOperations();
}

void NSOperationQueue::setSuspended(bool suspended) {
    {
        const std::lock_guard lock(_mutex);
        _suspended = suspended;
    }
    beginWaitingOperations();
}

bool NSOperationQueue::isSuspended() const {
    const std::lock_guard lock(_mutex);
    return _suspended;
}

void NSOperationQueue::cancelAllOperations() {
    const std::lock_guard lock(_mutex);
    for (const auto *operations : {&_waiting, &_running}) {
        for (const Retained<NSOperation> &operation : *operations) {
            operation->cancel();
        }
    }
}

NSUInteger NSOperationQueue::operationCount() const {
    const std::lock_guard lock(_mutex);
    return _waiting.size() + _running.size();
}

void NSOperationQueue::beginWaitingOperations() {
    std::vector<Retained<NSOperation>> ready;
    {
        const std::lock_guard lock(_mutex);
        if (_suspended) {
            return;
        }
        ready.swap(_waiting);
        _running.insert(_running.end(), ready.begin(), ready.end());
    }
    for (const Retained<NSOperation> &operation : ready) {
        begin(operation);
    }
}

void NSOperationQueue::begin(const Retained<NSOperation> &operation) {
    const Retained<NSOperationQueue> self(this);
    const bool began = NSThread::detachNewThread(nullptr, [self, operation] {
        operation->start();
        self->operationEnded(operation.get());
    });
    if (!began) {
        operationEnded(operation.get());
    }
}

void NSOperationQueue::operationEnded(const NSOperation *operation) {
    Retained<NSOperation> ended;
    const std::lock_guard lock(_mutex);
    const auto entry = std::find(_running.begin(), _running.end(), operation);
    if (entry != _running.end()) {
        ended = std::move(*entry);
        _running.erase(entry);
    }
}
