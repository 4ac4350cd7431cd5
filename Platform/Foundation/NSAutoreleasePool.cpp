#include "Platform/Foundation/NSAutoreleasePool.h"

namespace {

thread_local NSAutoreleasePool *innermostPool = nullptr;

/// Keeps what is autoreleased outside any pool. The thread's next outermost pool takes it over; the
/// end of the thread releases the rest.
struct StrayObjects {
    std::vector<Retained<NSObject>> objects;

    // The pool takes the objects over and also releases what their destructors autorelease.
    ~StrayObjects() { const NSAutoreleasePool pool; }
};

std::vector<Retained<NSObject>> &strayObjects() {
    thread_local StrayObjects strays;
    return strays.objects;
}

} // namespace

NSAutoreleasePool::NSAutoreleasePool() : _outer(innermostPool) {
    if (!_outer) {
        _objects.swap(strayObjects());
    }
    innermostPool = this;
}

NSAutoreleasePool::~NSAutoreleasePool() {
    drain();
    innermostPool = _outer;
}

void NSAutoreleasePool::addObject(Retained<NSObject> object) {
    (innermostPool ? innermostPool->_objects : strayObjects()).push_back(std::move(object));
}

void NSAutoreleasePool::drain() {
    while (!_objects.empty()) {
        std::vector<Retained<NSObject>> objects;
        objects.swap(_objects);
    }
}
