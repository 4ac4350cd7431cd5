#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <vector>

/// Holds the objects that were autoreleased on this thread while it is the innermost pool, and
/// releases them when it goes. Pools stack: they live in scopes, one inside another.
class PLATFORM_EXPORT NSAutoreleasePool {
  public:
    NSAutoreleasePool();
    ~NSAutoreleasePool();
    NSAutoreleasePool(const NSAutoreleasePool &) = delete;
    NSAutoreleasePool &operator=(const NSAutoreleasePool &) = delete;

    /// Gives the reference to the thread's innermost pool. Without a pool the thread keeps the
    /// object for the next one, such as that of the run loop's next call-out, or until it ends.
    static void addObject(Retained<NSObject> object);

    /// Releases what the pool holds, and what those releases autorelease, and stays usable.
    void drain();

  private:
    std::vector<Retained<NSObject>> _objects;
    NSAutoreleasePool *_outer;
};

/// Hands an object back without an owner: it lives until the current pool is drained, so the
/// receiver retains it to keep it.
template <class T> T *autorelease(Retained<T> object) {
    T *pointer = object.get();
    if (pointer) {
        NSAutoreleasePool::addObject(Retained<NSObject>(objectBehind(pointer)));
    }
    return pointer;
}
