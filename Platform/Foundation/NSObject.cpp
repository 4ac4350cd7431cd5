#include "Platform/Foundation/NSObject.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/Weak.h"

namespace {

/// The reference count of an object that is being destroyed starts here. So a destructor may retain
/// and release the object without reaching zero again, and a weak reference sees that it is dying.
constexpr NSUInteger kDying = ~(~NSUInteger{0} >> 1);

} // namespace

NSObject::~NSObject() {
    if (WeakReferenceBlock *block = _weakBlock.load(std::memory_order_acquire)) {
        block->objectIsGone();
    }
}

void NSObject::retain() const noexcept { _referenceCount.fetch_add(1, std::memory_order_relaxed); }

void NSObject::release() const noexcept {
    if (_referenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        _referenceCount.store(kDying, std::memory_order_relaxed);
        const_cast<NSObject *>(this)->destroy();
    }
}

NSUInteger NSObject::retainCount() const noexcept {
    const NSUInteger count = _referenceCount.load(std::memory_order_relaxed);
    return count >= kDying / 2 ? 0 : count;
}

void NSObject::destroy() noexcept { delete this; }

void NSObject::destroyOnMainThread() noexcept {
    if (NSThread::isMainThread()) {
        delete this;
    } else {
        NSRunLoop::mainRunLoop().performSelectorOnMainThread(
            nullptr, [this] { delete this; }, false);
    }
}

bool NSObject::tryRetain() const noexcept {
    NSUInteger count = _referenceCount.load(std::memory_order_relaxed);
    while (count != 0 && count < kDying / 2) {
        if (_referenceCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return false;
}
