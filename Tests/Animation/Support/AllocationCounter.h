#pragma once

#include <cstddef>

/// Counts what `operator new` hands out in the whole program, including its libraries.
class AllocationCounter {
  public:
    AllocationCounter() = delete;

    /// Blocks and bytes that are in use now.
    static std::size_t liveBlocks();
    static std::size_t liveBytes();

    /// Blocks and bytes allocated so far.
    static std::size_t totalBlocks();
    static std::size_t totalBytes();

    /// Larger blocks are refused from now on, as if memory had run out.
    static void setLargestBlock(std::size_t bytes);

    /// Only that many more blocks are handed out, in all threads together; SIZE_MAX for no limit.
    static void refuseAfter(std::size_t blocks);
};
