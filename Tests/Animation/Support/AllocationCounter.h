#pragma once

#include <cstddef>

/// What `operator new` hands out in the whole program, its libraries included.
class AllocationCounter {
  public:
    AllocationCounter() = delete;

    /// Blocks and bytes that are in use now.
    static std::size_t liveBlocks();
    static std::size_t liveBytes();

    /// Blocks and bytes ever handed out.
    static std::size_t totalBlocks();
    static std::size_t totalBytes();

    /// Memory for blocks of more bytes is refused from now on, as if there were none.
    static void setLargestBlock(std::size_t bytes);

    /// That many more blocks are handed out, in all threads together, and then none; SIZE_MAX for
    /// no end.
    static void refuseAfter(std::size_t blocks);
};
