#include "Platform/Foundation/NSAutoreleasePool.h"

namespace {

thread_local NSAutoreleasePool *innermostPool = nullptr;

// Catches what is autoreleased outside any pool; the next pool opened at the bottom of the stack
// takes it over, and the end of the thread releases the rest.
struct StrayObjects {
    std::vector<Retained<NSObject>> objects;

    // Through a pool, which also catches what the dying objects autorelease.
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
