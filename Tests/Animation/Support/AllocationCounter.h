#pragma once

#include <cstddef>

/// Counts what the whole program and its libraries allocate.
class AllocationCounter {
  public:
    AllocationCounter() = delete;

    /// Blocks and bytes that are in use now.
    static std::size_t liveBlocks();
    static std::size_t liveBytes();

    /// Blocks and bytes allocated so far.
    static std::size_t totalBlocks();
    static std::size_t totalBytes();

    /// From now on allocations of more bytes fail.
    static void setLargestBlock(std::size_t bytes);

    /// That many more blocks are handed out, in all threads together, and then none; SIZE_MAX for
    /// no end.
    static void refuseAfter(std::size_t blocks);
};
