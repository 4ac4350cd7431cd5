#include "Platform/Foundation/TreeLock.h"

#include "Platform/Foundation/Clock.h"

#include <atomic>
#include <cstdint>

__thread bool currentThreadIsMain __attribute__((tls_model("initial-exec"))) = false;

namespace {

/// A ticket lock: a thread that releases the tree and wants it back at once queues behind those
/// that already wait.
struct Tree {
    std::mutex mutex;
    ClockCondition freed;
    std::atomic<std::uint64_t> nextTicket{0};
    std::uint64_t serving = 0;

    void acquire() {
        std::unique_lock lock(mutex);
        const std::uint64_t ticket = nextTicket.fetch_add(1, std::memory_order_relaxed);
        while (serving != ticket) {
            freed.wait(lock);
        }
    }

    void release() {
        const std::lock_guard lock(mutex);
        ++serving;
        freed.notifyAll();
    }

    /// True when another thread waits. Only for the thread that holds the tree.
    bool isWanted() const { return nextTicket.load(std::memory_order_relaxed) != serving + 1; }
};

/// Never destroyed, because another thread may still use it while the process ends.
Tree &tree() {
    static Tree *const instance = new Tree;
    return *instance;
}

thread_local int depth = 0;

/// The main thread loads the library and holds the tree from then on.
const bool mainThreadMarked = [] {
    currentThreadIsMain = true;
    tree().acquire();
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

void TreeLock::yieldIfWanted() {
    if (currentThreadIsMain && depth == 0 && tree().isWanted()) {
        const Yield yield;
    }
}
