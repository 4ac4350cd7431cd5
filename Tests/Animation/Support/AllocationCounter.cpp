#include "Tests/Animation/Support/AllocationCounter.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<std::size_t> newBlocks{0};
std::atomic<std::size_t> newBytes{0};
std::atomic<std::size_t> freedBlocks{0};
std::atomic<std::size_t> freedBytes{0};
std::atomic<std::size_t> largestBlock{SIZE_MAX / 2};
std::atomic<std::size_t> blocksLeft{SIZE_MAX};

/// Each block starts with the size that was asked for. What the C library really reserves depends
/// on its free blocks, and so differs between equal requests.
constexpr std::size_t kHeader = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

std::size_t headerFor(std::align_val_t alignment) {
    return std::max(kHeader, static_cast<std::size_t>(alignment));
}

void *counted(void *memory, std::size_t header, std::size_t size) noexcept {
    if (!memory) {
        return nullptr;
    }
    newBlocks.fetch_add(1, std::memory_order_relaxed);
    newBytes.fetch_add(size, std::memory_order_relaxed);
    char *block = static_cast<char *>(memory) + header;
    std::memcpy(block - sizeof size, &size, sizeof size);
    return block;
}

bool isRefused(std::size_t size) {
    std::size_t left = blocksLeft.load();
    while (left > 0 && left < SIZE_MAX && !blocksLeft.compare_exchange_weak(left, left - 1)) {
    }
    return left == 0 || size > largestBlock.load();
}

void *allocate(std::size_t size) noexcept {
    return isRefused(size) ? nullptr : counted(std::malloc(size + kHeader), kHeader, size);
}

void *allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const std::size_t header = headerFor(alignment);
    const std::size_t whole = (size + 2 * header - 1) / header * header;
    return isRefused(size) ? nullptr : counted(std::aligned_alloc(header, whole), header, size);
}

void *orThrow(void *block) {
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void *block, std::size_t header = kHeader) noexcept {
    if (block) {
        std::size_t size = 0;
        char *bytes = static_cast<char *>(block);
        std::memcpy(&size, bytes - sizeof size, sizeof size);
        freedBlocks.fetch_add(1, std::memory_order_relaxed);
        freedBytes.fetch_add(size, std::memory_order_relaxed);
        std::free(bytes - header);
    }
}

} // namespace

std::size_t AllocationCounter::liveBlocks() { return newBlocks.load() - freedBlocks.load(); }
std::size_t AllocationCounter::liveBytes() { return newBytes.load() - freedBytes.load(); }
std::size_t AllocationCounter::totalBlocks() { return newBlocks.load(); }
std::size_t AllocationCounter::totalBytes() { return newBytes.load(); }
void AllocationCounter::setLargestBlock(std::size_t bytes) { largestBlock = bytes; }
void AllocationCounter::refuseAfter(std::size_t blocks) { blocksLeft = blocks; }

// Replaces every form of operator new, because a block must go back to the family of functions that
// it came from.
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
PROGRAM_WIDE void operator delete(void *block, std::align_val_t alignment) noexcept {
    release(block, headerFor(alignment));
}
PROGRAM_WIDE void operator delete[](void *block, std::align_val_t alignment) noexcept {
    release(block, headerFor(alignment));
}
PROGRAM_WIDE void operator delete(void *block, std::size_t, std::align_val_t alignment) noexcept {
    release(block, headerFor(alignment));
}
PROGRAM_WIDE void operator delete[](void *block, std::size_t, std::align_val_t alignment) noexcept {
    release(block, headerFor(alignment));
}
