#pragma once

#include "Platform/Foundation/NSTypes.h"
#include "Platform/Foundation/PlatformExport.h"

#include <atomic>

class WeakReferenceBlock;

/// Root of every reference-counted class. Lives on the heap alone: a new object has one
/// reference, which its maker adopts (see Retained.h), and goes when the last one is released.
class PLATFORM_EXPORT NSObject {
  public:
    NSObject(const NSObject &) = delete;
    NSObject &operator=(const NSObject &) = delete;

    /// Any thread.
    void retain() const noexcept;

    /// Any thread. The last release destroys the object; references that its destructor takes and
    /// gives back do no harm.
    void release() const noexcept;

    /// References held now; for tests and diagnostics. 0 once destruction has begun.
    NSUInteger retainCount() const noexcept;

  protected:
    NSObject() noexcept = default;
    virtual ~NSObject();

    /// Called once, by whoever released the last reference. A class that must die on a certain
    /// thread overrides it.
    virtual void destroy() noexcept;

    /// Destroys the object at once on the main thread, soon on it elsewhere.
    void destroyOnMainThread() noexcept;

  private:
    friend class WeakReferenceBlock;

    bool tryRetain() const noexcept;

    mutable std::atomic<NSUInteger> _referenceCount{1};
    mutable std::atomic<WeakReferenceBlock *> _weakBlock{nullptr};
};
