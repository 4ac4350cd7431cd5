#pragma once

#include "Platform/Compositor/CellMask.h"

#include <array>

/// What changed from picture to picture, for targets that hold an older one. Keeps its memory.
class ChangeHistory {
  public:
    /// Begins a picture; the caller notes what changed in the mask given, which is empty.
    CellMask &begin(const DeviceRect &device);

    /// All of the present picture may have changed.
    void setAll() { latest().isAll = true; }

    /// What to draw where the picture of `age` pictures before the present one is: null for all,
    /// as for an age of 0 or one that is beyond memory, and when drawing all costs less.
    const CellMask *since(unsigned age);

    /// A few rectangles around what changed in the present picture; disjoint.
    const std::vector<DeviceRect> &latestRects();

  private:
    struct Change {
        CellMask cells;
        bool isAll = true;
    };

    static constexpr std::size_t kRemembered = 4;

    Change &latest() { return _changes[_latest]; }
    void addRectsOfBand(int top);

    std::array<Change, kRemembered> _changes;
    std::size_t _latest = 0;
    DeviceRect _device;
    CellMask _sum;
    std::vector<DeviceRect> _rects;
};
