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

void *counted(void *block) noexcept {
    if (block) {
        newBlocks.fetch_add(1, std::memory_order_relaxed);
        newBytes.fetch_add(malloc_usable_size(block), std::memory_order_relaxed);
    }
    return block;
}

void *allocate(std::size_t size) noexcept { return counted(std::malloc(size ? size : 1)); }

void *allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const auto step = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}

void *orThrow(void *block) {
    if (!block) {
        throw std::bad_alloc();
    }
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

// Every form that the program's libraries use: a block that one family of functions hands out may
// not go back to another.
#define PROGRAM_WIDE __attribute__((visibility("default")))

PROGRAM_WIDE void *operator new(std::size_t size) { return orThrow(allocate(size)); }
PROGRAM_WIDE void *operator new[](std::size_t size) { return orThrow(allocate(size)); }
PROGRAM_WIDE void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
PROGRAM_WIDE void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
PROGRAM_WIDE void *operator new(std::size_t size, std::align_val_t alignment) {
    return orThrow(allocate(size, alignment));
}
PROGRAM_WIDE void *operator new[](std::size_t size, std::align_val_t alignment) {
    return orThrow(allocate(size, alignment));
}

PROGRAM_WIDE void operator delete(void *block) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, std::size_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block, std::size_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, const std::nothrow_t &) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block, const std::nothrow_t &) noexcept {
    release(block);
}
PROGRAM_WIDE void operator delete(void *block, std::align_val_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete[](void *block, std::align_val_t) noexcept { release(block); }
PROGRAM_WIDE void operator delete(void *block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
PROGRAM_WIDE void operator delete[](void *block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
