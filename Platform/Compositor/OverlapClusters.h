#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstddef>
#include <vector>

/// Sorts rectangles into clusters: two that overlap are in the same one, and so is everything that
/// hangs together through them. Keeps its memory.
class OverlapClusters {
  public:
    /// For each rectangle the index of the first one in its cluster. Valid until the next call.
    const std::vector<std::size_t> &find(const std::vector<DeviceRect> &rects);

  private:
    std::size_t leaderOf(std::size_t index);
    void join(std::size_t first, std::size_t second);

    std::vector<std::size_t> _leaders;
    std::vector<std::size_t> _fromTop;
};
