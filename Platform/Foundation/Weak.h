#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <mutex>

/// Shared by the weak references to one object; lives on after the object until the last of them
/// is gone.
class PLATFORM_EXPORT WeakReferenceBlock {
  public:
    /// The block of a living object, retained for the caller.
    static WeakReferenceBlock *of(const NSObject *object);

    void retain() noexcept;
    void release() noexcept;

    /// The object, retained for the caller; null when its destruction has begun.
    NSObject *retainedObject() noexcept;

    /// Called by the object's destructor. Releases the object's own reference to the block.
    void objectIsGone() noexcept;

  private:
    explicit WeakReferenceBlock(NSObject *object) noexcept : _object(object) {}

    std::mutex _mutex;
    NSObject *_object;
    std::atomic<NSUInteger> _referenceCount{1};
};

/// Reference that does not own its object and reads as null once the object's destruction has
/// begun. lock() is safe while another thread releases the object; the Weak itself is as
/// thread-safe as a pointer.
template <class T> class Weak {
  public:
    Weak() noexcept = default;

    explicit Weak(T *pointer) : _pointer(pointer) {
        if (pointer) {
            _block = WeakReferenceBlock::of(objectBehind(pointer));
        }
    }

    Weak(const Weak &other) noexcept : _pointer(other._pointer), _block(other._block) {
        if (_block) {
            _block->retain();
        }
    }

    Weak(Weak &&other) noexcept
        : _pointer(std::exchange(other._pointer, nullptr)),
          _block(std::exchange(other._block, nullptr)) {}

    ~Weak() {
        if (_block) {
            _block->release();
        }
    }

    Weak &operator=(Weak other) noexcept {
        std::swap(_pointer, other._pointer);
        std::swap(_block, other._block);
        return *this;
    }

    /// The object, kept alive by the result; null once its destruction has begun.
    Retained<T> lock() const noexcept {
        return _block && _block->retainedObject() ? Retained<T>::adopt(_pointer) : nullptr;
    }

  private:
    T *_pointer = nullptr;
    WeakReferenceBlock *_block = nullptr;
};
