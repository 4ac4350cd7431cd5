#include "Platform/Compositor/ListChanges.h"

#include <algorithm>
#include <utility>

namespace {

// What it costs to find the changed pixels of an area and to draw them alone, measured against what
// it costs to draw the background of that area.
constexpr long long kCostOfFinding = 2;

} // namespace

bool ListChanges::areSame(const Unit &unit, const Unit &other) {
    return unit.item->length == other.item->length &&
           std::equal(unit.item, unit.item + unit.item->length, other.item);
}

void ListChanges::list(const DisplayList &items, std::vector<Unit> &units) {
    units.clear();
    units.reserve(items.items().capacity());
    const DisplayItem *const end = items.items().data() + items.items().size();
    for (const DisplayItem *item = items.items().data(); item < end; item += item->length) {
        units.push_back({item});
    }
}

void ListChanges::skip(const DisplayList &now) {
    list(now, _before);
    _marked.reset({});
}

bool ListChanges::find(const DisplayList &now, DisplayListPainter &painter, CellMask &changed) {
    list(now, _now);
    findOthers();
    const DeviceRect &device = changed.area();
    const bool pays = areaOfOthers() * kCostOfFinding < device.area();
    if (pays) {
        markOld(painter, changed);
        markNew(painter, device);
        changed.add(_markedNow);
        std::swap(_marked, _markedNow);
    }
    std::swap(_before, _now);
    return pays;
}

// Lists of equal length are compared unit by unit. Otherwise something came or went: what is the
// same at both ends of the lists stays.
void ListChanges::findOthers() {
    for (Unit &unit : _before) {
        unit.isOther = false;
    }
    const std::size_t most = std::min(_before.size(), _now.size());
    std::size_t first = 0;
    while (first < most && areSame(_before[first], _now[first])) {
        first++;
    }
    std::size_t last = 0;
    while (last < most - first &&
           areSame(_before[_before.size() - 1 - last], _now[_now.size() - 1 - last])) {
        last++;
    }
    const bool isPaired = _before.size() == _now.size();
    for (std::size_t i = first; i < _before.size() - last; i++) {
        _before[i].isOther = !isPaired || !areSame(_before[i], _now[i]);
    }
    for (std::size_t i = first; i < _now.size() - last; i++) {
        _now[i].isOther = !isPaired || _before[i].isOther;
    }
}

// Of all that is drawn; a group's bounds may be far larger than its members.
long long ListChanges::areaOfOthers() const {
    long long area = 0;
    for (const Unit &unit : _now) {
        const DisplayItem *const end = unit.item + (unit.isOther ? unit.item->length : 0);
        for (const DisplayItem *item = unit.item; item < end; item++) {
            area += item->kind == DisplayItem::Kind::Group ? 0 : item->bounds.area();
        }
    }
    return area;
}

void ListChanges::markOld(DisplayListPainter &painter, CellMask &changed) {
    bool movesAgain = false;
    for (const Unit &unit : _before) {
        if (unit.isOther && unit.isMarked) {
            movesAgain = true;
        } else if (unit.isOther) {
            painter.mark(*unit.item, changed);
        }
    }
    if (movesAgain) {
        changed.add(_marked);
    }
}

void ListChanges::markNew(DisplayListPainter &painter, const DeviceRect &device) {
    _markedNow.reset(device);
    for (Unit &unit : _now) {
        if (unit.isOther) {
            painter.mark(*unit.item, _markedNow);
            unit.isMarked = true;
        }
    }
}
