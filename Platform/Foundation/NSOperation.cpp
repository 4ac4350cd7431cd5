#include "Platform/Foundation/NSOperation.h"

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
