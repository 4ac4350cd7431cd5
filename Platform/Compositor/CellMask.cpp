#include "Platform/Compositor/CellMask.h"

#include <algorithm>

void CellMask::reset(const DeviceRect &area) {
    _area = area;
    _firstWord = area.left >> kWordShift;
    _wordsARow = area.isEmpty()
                     ? 0
                     : static_cast<std::size_t>(((area.right - 1) >> kWordShift) - _firstWord + 1);
    const std::size_t rows = area.isEmpty() ? 0 : static_cast<std::size_t>(area.height());
    _cells.assign(rows * _wordsARow, 0);
}

void CellMask::addToWords(int y, int left, int right, CellMask *again) {
    forEachWord(left, right, [&](std::size_t word, std::uint64_t cells) {
        addCells(indexOf(y) + word, cells, again);
    });
}

void CellMask::add(const DeviceRect &rect, CellMask *again) {
    const DeviceRect inside = rect.intersection(_area);
    for (int y = inside.top; y < inside.bottom; ++y) {
        add(y, inside.left, inside.right, again);
    }
}

void CellMask::add(const CellMask &other) {
    for (std::size_t i = 0; i < _cells.size(); ++i) {
        _cells[i] |= other._cells[i];
    }
}

void CellMask::remove(const CellMask &other) {
    for (std::size_t i = 0; i < _cells.size(); ++i) {
        _cells[i] &= ~other._cells[i];
    }
}

void CellMask::keep(const CellMask &other) {
    for (int y = _area.top; y < _area.bottom; ++y) {
        const std::uint64_t *const kept = other.wordsOf(y) + (_firstWord - other._firstWord);
        const std::size_t row = static_cast<std::size_t>(y - _area.top) * _wordsARow;
        for (std::size_t word = 0; word < _wordsARow; ++word) {
            _cells[row + word] &= kept[word];
        }
    }
}

bool CellMask::isEmpty() const {
    return std::all_of(_cells.begin(), _cells.end(), [](std::uint64_t word) { return word == 0; });
}

long long CellMask::pixelCount() const {
    long long cells = 0;
    for (const std::uint64_t word : _cells) {
        cells += std::popcount(word);
    }
    return cells * kCell;
}

bool CellMask::intersects(const DeviceRect &rect) const {
    const DeviceRect inside = rect.intersection(_area);
    bool found = false;
    forEachWord(inside.left, inside.right, [&](std::size_t word, std::uint64_t cells) {
        for (int y = inside.top; y < inside.bottom && !found; ++y) {
            found = (wordsOf(y)[word] & cells) != 0;
        }
    });
    return found;
}
