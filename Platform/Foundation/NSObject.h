#pragma once

#include "Platform/Foundation/NSTypes.h"

#include <atomic>

class WeakReferenceBlock;

/// Root of every reference-counted class. Objects live on the heap only: a new object has one
/// reference, which its maker adopts (see Retained.h), and is destroyed when the last one is
/// released.
class PLATFORM_EXPORT NSObject {
  public:
    NSObject(const NSObject &) = delete;
    NSObject &operator=(const NSObject &) = delete;

    /// Any thread.
    void retain() const noexcept;

    /// Any thread. The last release destroys the object. Its destructor may retain and release it
    /// again without effect.
    void release() const noexcept;

    /// The number of references, for tests and diagnostics; 0 once destruction has begun.
    NSUInteger retainCount() const noexcept;

  protected:
    NSObject() noexcept = default;
    virtual ~NSObject();

    /// Called once, on the thread that released the last reference. A class whose objects must be
    /// destroyed on a certain thread overrides it.
    virtual void destroy() noexcept;

    /// Destroys the object on the main thread: at once when called there, else soon.
    void destroyOnMainThread() noexcept;

  private:
    friend class WeakReferenceBlock;

    bool tryRetain() const noexcept;

    mutable std::atomic<NSUInteger> _referenceCount{1};
    mutable std::atomic<WeakReferenceBlock *> _weakBlock{nullptr};
};
