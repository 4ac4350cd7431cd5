#include "Platform/Compositor/ListChanges.h"

#include <algorithm>
#include <utility>

bool ListChanges::areSame(const Unit &unit, const Unit &other) {
    return unit.item->length == other.item->length &&
           std::equal(unit.item, unit.item + unit.item->length, other.item);
}

void ListChanges::list(const DisplayList &items, std::vector<Unit> &units) {
    units.clear();
    const DisplayItem *const end = items.items().data() + items.items().size();
    for (const DisplayItem *item = items.items().data(); item < end; item += item->length) {
        units.push_back({item, false});
    }
}

void ListChanges::skip(const DisplayList &now) {
    list(now, _before);
    _marked.reset({});
}

void ListChanges::find(const DisplayList &now, DisplayListPainter &painter, CellMask &changed) {
    list(now, _now);
    findShared();
    _markedNow.reset(changed.area());
    const bool isPaired = _before.size() == _now.size();
    bool movesAgain = false;
    for (std::size_t i = _first; i < _before.size() - _last; i++) {
        if (isPaired && areSame(_before[i], _now[i])) {
            continue;
        }
        if (_before[i].isMarked) {
            movesAgain = true;
        } else {
            painter.mark(*_before[i].item, changed);
        }
    }
    for (std::size_t i = _first; i < _now.size() - _last; i++) {
        if (!isPaired || !areSame(_before[i], _now[i])) {
            painter.mark(*_now[i].item, _markedNow);
            _now[i].isMarked = true;
        }
    }
    if (movesAgain) {
        changed.add(_marked);
    }
    changed.add(_markedNow);
    std::swap(_marked, _markedNow);
    std::swap(_before, _now);
}

void ListChanges::findShared() {
    const std::size_t most = std::min(_before.size(), _now.size());
    _first = 0;
    while (_first < most && areSame(_before[_first], _now[_first])) {
        _first++;
    }
    _last = 0;
    while (_last < most - _first &&
           areSame(_before[_before.size() - 1 - _last], _now[_now.size() - 1 - _last])) {
        _last++;
    }
}
