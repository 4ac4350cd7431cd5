#pragma once

#include "Platform/Compositor/ItemPlanner.h"

#include <array>

/// Finds the pixels in which a display list may differ from the one before it. Keeps its memory.
class DamageFinder {
  public:
    /// Adds to `damage`, whose area is the device, the pixels in which `list` may differ from the
    /// list of the call before, which must still be there and unchanged. Returns false and adds
    /// nothing when so much differs that drawing everything costs less.
    bool find(const DisplayList &list, ItemPlanner &planner, CellMask &damage);

    /// Called instead of find() for a frame whose damage is not needed.
    void skip(const DisplayList &list);

  private:
    // An item that is not a member of a group.
    struct Unit {
        const DisplayItem *item;
        // Whether the other list has something else in its place.
        bool isOther = false;
        // Whether its pixels are in `_marked`.
        bool isMarked = false;
    };

    static bool areSame(const Unit &unit, const Unit &other);
    static void collect(const DisplayList &list, std::vector<Unit> &units);
    void findOthers();
    long long areaOfOthers() const;
    void markOld(ItemPlanner &planner, CellMask &damage);
    void markNew(ItemPlanner &planner, const DeviceRect &device);

    std::vector<Unit> _before;
    std::vector<Unit> _now;

    // The pixels of the units that were new in the list before and in this one. What moves now has
    // mostly moved before, so its old pixels are marked already.
    CellMask _marked;
    CellMask _markedNow;
};

/// Remembers the damage of the last few pictures, for targets that hold an older one. Keeps its
/// memory.
class DamageHistory {
  public:
    /// Begins a picture. The caller adds its damage to the mask returned, which is empty.
    CellMask &begin(const DeviceRect &device);

    /// Says that all of the present picture may have changed.
    void setAll() { latest().isAll = true; }

    /// What to draw over a target that holds the picture `age` pictures before the present one.
    /// Null means everything: for an age of 0, for one that is no longer remembered, and when
    /// drawing everything costs less.
    const CellMask *since(unsigned age);

    /// A few disjoint rectangles around the damage of the present picture. Valid until the next
    /// call.
    const std::vector<DeviceRect> &latestRects();

  private:
    struct Change {
        CellMask cells;
        bool isAll = true;
    };

    static constexpr std::size_t kRemembered = 4;

    Change &changeBefore(std::size_t age) {
        return _changes[(_latest + kRemembered - age) % kRemembered];
    }
    Change &latest() { return _changes[_latest]; }
    void addRectsOfBand(int top);
    void addRun(const DeviceRect &run, std::size_t &above);

    std::array<Change, kRemembered> _changes;
    std::size_t _latest = 0;
    DeviceRect _device;
    CellMask _sum;
    std::vector<DeviceRect> _rects;

    // The indices of the rectangles that end at the row of tiles above, and at the present one.
    std::vector<std::size_t> _above;
    std::vector<std::size_t> _band;
};
