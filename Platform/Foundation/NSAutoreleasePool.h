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

    /// Gives the reference to the thread's innermost pool. Without one the thread keeps the object
    /// for the next pool (that of the run loop's next call-out, say) or until the thread ends.
    static void addObject(Retained<NSObject> object);

    /// Releases what the pool holds and what those releases autorelease. The pool stays usable.
    void drain();

  private:
    std::vector<Retained<NSObject>> _objects;
    NSAutoreleasePool *_outer;
};

/// Returns an object without passing on a reference: the object lives until the current pool is
/// drained, and a caller that wants to keep it retains it.
template <class T> T *autorelease(Retained<T> object) {
    T *pointer = object.get();
    if (pointer) {
        NSAutoreleasePool::addObject(Retained<NSObject>(objectBehind(pointer)));
    }
    return pointer;
}
