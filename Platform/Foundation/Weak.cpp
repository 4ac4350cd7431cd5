#include "Platform/Foundation/Weak.h"

WeakReferenceBlock *WeakReferenceBlock::of(const NSObject *object) {
    WeakReferenceBlock *block = object->_weakBlock.load(std::memory_order_acquire);
    if (!block) {
        auto *fresh = new WeakReferenceBlock(const_cast<NSObject *>(object));
        if (object->_weakBlock.compare_exchange_strong(block, fresh, std::memory_order_acq_rel)) {
            block = fresh;
        } else {
            delete fresh;
        }
    }
    block->retain();
    return block;
}

void WeakReferenceBlock::retain() noexcept {
    _referenceCount.fetch_add(1, std::memory_order_relaxed);
}

void WeakReferenceBlock::release() noexcept {
    if (_referenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

NSObject *WeakReferenceBlock::retainedObject() noexcept {
    const std::lock_guard lock(_mutex);
    return _object && _object->tryRetain() ? _object : nullptr;
}

void WeakReferenceBlock::objectIsGone() noexcept {
    {
        const std::lock_guard lock(_mutex);
        _object = nullptr;
    }
    release();
}
