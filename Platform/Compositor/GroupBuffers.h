#pragma once

#include "Platform/Compositor/PixelArea.h"

#include <vector>

/// Transparent pixels for groups to be drawn into before they are blended as one. The memory is
/// kept, so that frames after the first few take none.
class GroupBuffers {
  public:
    /// Clear pixels for `area`, until the matching giveBack(). The one taken last goes back first.
    PixelArea take(const DeviceRect &area);
    void giveBack() { _taken--; }
    void purge() { _buffers.clear(); }

  private:
    std::vector<std::vector<std::uint32_t>> _buffers;
    std::size_t _taken = 0;
};
