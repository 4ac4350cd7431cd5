#pragma once

#include "Platform/Compositor/DisplayListPainter.h"

/// Where a display list shows something else than the one before it. Keeps its memory.
class ListChanges {
  public:
    /// Adds to `changed`, whose area is the device, the pixels in which this list may differ from
    /// the one of the call before, which must still be there and as it was. False, and nothing
    /// added, when so much changed that it does not pay to know what.
    bool find(const DisplayList &now, DisplayListPainter &painter, CellMask &changed);

    /// Instead of find(), when it is not to be known what changed.
    void skip(const DisplayList &now);

  private:
    // An item that is no group's member.
    struct Unit {
        const DisplayItem *item;
        // The other list does not have it in its place.
        bool isOther = false;
        // Its pixels are in `_marked`.
        bool isMarked = false;
    };

    static bool areSame(const Unit &unit, const Unit &other);
    static void list(const DisplayList &items, std::vector<Unit> &units);
    void findOthers();
    long long areaOfOthers() const;
    void markOld(DisplayListPainter &painter, CellMask &changed);
    void markNew(DisplayListPainter &painter, const DeviceRect &device);

    std::vector<Unit> _before;
    std::vector<Unit> _now;

    // What the units that were new in a list cover: what moves now has mostly moved before, and is
    // in there.
    CellMask _marked;
    CellMask _markedNow;
};
