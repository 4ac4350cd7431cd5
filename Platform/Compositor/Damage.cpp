#include "Platform/Compositor/Damage.h"

#include <algorithm>
#include <utility>

namespace {

/// The cost of finding the damage in an area and drawing only that, as a multiple of the cost of
/// drawing the background of the area.
constexpr long long kCostOfFinding = 2;

/// Pixels. The sides of the rectangles around damage are multiples of these.
constexpr int kTileWidth = 32;
constexpr int kTileHeight = 32;

/// The cost of drawing a picture in parts, as a multiple of the cost of drawing it whole.
constexpr double kCostOfParts = 1.3;

} // namespace

bool DamageFinder::areSame(const Unit &unit, const Unit &other) {
    return unit.item->length == other.item->length &&
           std::equal(unit.item, unit.item + unit.item->length, other.item);
}

void DamageFinder::collect(const DisplayList &list, std::vector<Unit> &units) {
    units.clear();
    units.reserve(list.items().capacity());
    for (const DisplayItem &item : list.range()) {
        units.push_back({&item});
    }
}

void DamageFinder::skip(const DisplayList &list) {
    collect(list, _before);
    _marked.reset({});
}

bool DamageFinder::find(const DisplayList &list, ItemPlanner &planner, CellMask &damage) {
    collect(list, _now);
    findOthers();
    const DeviceRect &device = damage.area();
    const bool pays = areaOfOthers() * kCostOfFinding < device.area();
    if (pays) {
        markOld(planner, damage);
        markNew(planner, device);
        damage.add(_markedNow);
        std::swap(_marked, _markedNow);
    }
    std::swap(_before, _now);
    return pays;
}

/// Lists of equal length are compared unit by unit. If something came or went, only the units that
/// are the same at both ends of the lists count as unchanged.
void DamageFinder::findOthers() {
    for (Unit &unit : _before) {
        unit.isOther = false;
    }
    const std::size_t most = std::min(_before.size(), _now.size());
    std::size_t first = 0;
    while (first < most && areSame(_before[first], _now[first])) {
        ++first;
    }
    std::size_t last = 0;
    while (last < most - first &&
           areSame(_before[_before.size() - 1 - last], _now[_now.size() - 1 - last])) {
        ++last;
    }
    const bool isPaired = _before.size() == _now.size();
    for (std::size_t i = first; i < _before.size() - last; ++i) {
        _before[i].isOther = !isPaired || !areSame(_before[i], _now[i]);
    }
    for (std::size_t i = first; i < _now.size() - last; ++i) {
        _now[i].isOther = !isPaired || _before[i].isOther;
    }
}

/// The sum over all that is drawn. It counts a group's members, because the bounds of the group may
/// be far larger.
long long DamageFinder::areaOfOthers() const {
    long long area = 0;
    for (const Unit &unit : _now) {
        const DisplayItem *const end = unit.item + (unit.isOther ? unit.item->length : 0);
        for (const DisplayItem *item = unit.item; item < end; ++item) {
            area += item->kind == DisplayItem::Kind::Group ? 0 : item->bounds.area();
        }
    }
    return area;
}

void DamageFinder::markOld(ItemPlanner &planner, CellMask &damage) {
    bool movesAgain = false;
    for (const Unit &unit : _before) {
        if (unit.isOther && unit.isMarked) {
            movesAgain = true;
        } else if (unit.isOther) {
            planner.mark(*unit.item, damage);
        }
    }
    if (movesAgain) {
        damage.add(_marked);
    }
}

void DamageFinder::markNew(ItemPlanner &planner, const DeviceRect &device) {
    _markedNow.reset(device);
    for (Unit &unit : _now) {
        if (unit.isOther) {
            planner.mark(*unit.item, _markedNow);
            unit.isMarked = true;
        }
    }
}

CellMask &DamageHistory::begin(const DeviceRect &device) {
    _latest = (_latest + 1) % kRemembered;
    _device = device;
    latest().isAll = false;
    latest().cells.reset(device);
    return latest().cells;
}

const CellMask *DamageHistory::since(unsigned age) {
    if (age == 0 || age > kRemembered) {
        return nullptr;
    }
    for (unsigned i = 0; i < age; ++i) {
        if (changeBefore(i).isAll) {
            return nullptr;
        }
    }
    const CellMask *result = &latest().cells;
    if (age > 1) {
        _sum.reset(_device);
        for (unsigned i = 0; i < age; ++i) {
            _sum.add(changeBefore(i).cells);
        }
        result = &_sum;
    }
    const bool paysOff = static_cast<double>(result->pixelCount()) * kCostOfParts <
                         static_cast<double>(_device.area());
    return paysOff ? result : nullptr;
}

const std::vector<DeviceRect> &DamageHistory::latestRects() {
    _rects.clear();
    if (latest().isAll) {
        _rects.push_back(_device);
        return _rects;
    }
    const auto columns = static_cast<std::size_t>(_device.right / kTileWidth + 1);
    _rects.reserve(columns * static_cast<std::size_t>(_device.bottom / kTileHeight + 1));
    _above.clear();
    _above.reserve(columns);
    _band.reserve(columns);
    for (int top = 0; top < _device.bottom; top += kTileHeight) {
        addRectsOfBand(top);
    }
    return _rects;
}

/// Adds the rectangles of one row of tiles.
void DamageHistory::addRectsOfBand(int top) {
    const int bottom = std::min(top + kTileHeight, _device.bottom);
    _band.clear();
    std::size_t above = 0;
    DeviceRect run{0, top, 0, bottom};
    for (int left = 0; left < _device.right; left += kTileWidth) {
        const DeviceRect tile{left, top, std::min(left + kTileWidth, _device.right), bottom};
        if (latest().cells.intersects(tile)) {
            run.right = tile.right;
        } else {
            addRun(run, above);
            run.left = tile.right;
        }
    }
    addRun(run, above);
    _above.swap(_band);
}

/// Adds a rectangle of a row of tiles, or extends the one above it if both have the same sides. The
/// runs of a row come from left to right, and `above` is the first of the rectangles above that may
/// be such a one.
void DamageHistory::addRun(const DeviceRect &run, std::size_t &above) {
    if (run.right <= run.left) {
        return;
    }
    while (above < _above.size() && _rects[_above[above]].left < run.left) {
        ++above;
    }
    if (above < _above.size() && _rects[_above[above]].left == run.left &&
        _rects[_above[above]].right == run.right) {
        _rects[_above[above]].bottom = run.bottom;
        _band.push_back(_above[above]);
    } else {
        _band.push_back(_rects.size());
        _rects.push_back(run);
    }
}
