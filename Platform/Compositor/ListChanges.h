#pragma once

#include "Platform/Compositor/DisplayListPainter.h"

/// Where a display list shows something else than the one before it. Keeps its memory.
class ListChanges {
  public:
    /// Adds to `changed`, whose area is the device, the pixels in which this list may differ from
    /// the one of the call before, which must still be there and as it was.
    void find(const DisplayList &now, DisplayListPainter &painter, CellMask &changed);

    /// Instead of find(), when it is not to be known what changed.
    void skip(const DisplayList &now);

  private:
    // An item that is no group's member.
    struct Unit {
        const DisplayItem *item;
        // Its pixels are in `_marked`.
        bool isMarked;
    };

    static bool areSame(const Unit &unit, const Unit &other);
    static void list(const DisplayList &items, std::vector<Unit> &units);
    void findShared();

    std::vector<Unit> _before;
    std::vector<Unit> _now;

    // How many units at the beginning and at the end are the same.
    std::size_t _first = 0;
    std::size_t _last = 0;

    // What the units that were new in a list cover: what moves now has mostly moved before, and is
    // in there.
    CellMask _marked;
    CellMask _markedNow;
};
