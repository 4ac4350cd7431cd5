#include "Tests/Animation/Support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::size_t> newBlocks{0};
std::atomic<std::size_t> newBytes{0};
std::atomic<std::size_t> freedBlocks{0};
std::atomic<std::size_t> freedBytes{0};

void *counted(void *block) {
    if (!block) {
        throw std::bad_alloc();
    }
    newBlocks.fetch_add(1, std::memory_order_relaxed);
    newBytes.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
    return block;
}

void release(void *block) noexcept {
    if (block) {
        freedBlocks.fetch_add(1, std::memory_order_relaxed);
        freedBytes.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
        std::free(block);
    }
}

} // namespace

std::size_t AllocationCounter::liveBlocks() { return newBlocks.load() - freedBlocks.load(); }
std::size_t AllocationCounter::liveBytes() { return newBytes.load() - freedBytes.load(); }
std::size_t AllocationCounter::totalBlocks() { return newBlocks.load(); }
std::size_t AllocationCounter::totalBytes() { return newBytes.load(); }

#define PROGRAM_WIDE __attribute__((visibility("default")))

PROGRAM_WIDE void *operator new(std::size_t size) { return counted(std::malloc(size ? size : 1)); }

PROGRAM_WIDE void *operator new[](std::size_t size) { return operator new(size); }

PROGRAM_WIDE void *operator new(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}

PROGRAM_WIDE void operator delete(void *block) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, std::size_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block, std::size_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, std::align_val_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
