#include "Platform/Foundation/TreeLock.h"

#include "Platform/Foundation/Clock.h"

__thread bool currentThreadIsMain __attribute__((tls_model("initial-exec"))) = false;

namespace {

struct Tree {
    std::mutex mutex;
    ClockCondition freed;
    bool held = false;

    void acquire() {
        std::unique_lock lock(mutex);
        while (held) {
            freed.wait(lock);
        }
        held = true;
    }

    void release() {
        const std::lock_guard lock(mutex);
        held = false;
        freed.notifyAll();
    }
};

// Never destroyed: another thread may still ask for it while the process ends.
Tree &tree() {
    static Tree *const instance = new Tree;
    return *instance;
}

thread_local int depth = 0;

// The library is loaded by the main thread, which holds the tree from then on.
const bool mainThreadMarked = [] {
    currentThreadIsMain = true;
    tree().held = true;
    return true;
}();

} // namespace

void TreeLock::acquire() {
    if (depth++ == 0) {
        tree().acquire();
    }
}

void TreeLock::release() {
    if (--depth == 0) {
        tree().release();
    }
}

TreeLock::Yield::Yield() {
    if (currentThreadIsMain && depth++ == 0) {
        tree().release();
    }
}

TreeLock::Yield::~Yield() {
    if (currentThreadIsMain && --depth == 0) {
        tree().acquire();
    }
}
