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

void CellMask::add(int y, int left, int right, CellMask *again) {
    if (left >= right) {
        return;
    }
    const int first = (left >> kWordShift) - _firstWord;
    const int last = ((right - 1) >> kWordShift) - _firstWord;
    const std::size_t row = static_cast<std::size_t>(y - _area.top) * _wordsARow;
    for (int word = first; word <= last; word++) {
        std::uint64_t cells = ~std::uint64_t{0};
        if (word == first) {
            cells &= ~std::uint64_t{0} << bitOf(left);
        }
        if (word == last) {
            cells &= ~std::uint64_t{0} >> (63 - bitOf(right - 1));
        }
        std::uint64_t &present = _cells[row + static_cast<std::size_t>(word)];
        if (again) {
            again->_cells[row + static_cast<std::size_t>(word)] |= present & cells;
        }
        present |= cells;
    }
}

void CellMask::add(const DeviceRect &rect, CellMask *again) {
    const DeviceRect inside = rect.intersection(_area);
    for (int y = inside.top; y < inside.bottom; y++) {
        add(y, inside.left, inside.right, again);
    }
}

void CellMask::add(const CellMask &other) {
    for (std::size_t i = 0; i < _cells.size(); i++) {
        _cells[i] |= other._cells[i];
    }
}

void CellMask::remove(const CellMask &other) {
    for (std::size_t i = 0; i < _cells.size(); i++) {
        _cells[i] &= ~other._cells[i];
    }
}

void CellMask::keep(const CellMask &other) {
    for (int y = _area.top; y < _area.bottom; y++) {
        const std::uint64_t *const kept = other.wordsOf(y) + (_firstWord - other._firstWord);
        const std::size_t row = static_cast<std::size_t>(y - _area.top) * _wordsARow;
        for (std::size_t word = 0; word < _wordsARow; word++) {
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
    for (int y = inside.top; y < inside.bottom && !found; y++) {
        forEachRun(y, inside.left, inside.right, [&](int, int) { found = true; });
    }
    return found;
}

// Of the run that `left` lies in.
int CellMask::endOfRun(const std::uint64_t *row, int left, int right) const {
    int end = left;
    while (end < right) {
        const std::uint64_t missing = ~row[(end >> kWordShift) - _firstWord] >> bitOf(end);
        if (missing != 0) {
            return startOfCell(end) + std::countr_zero(missing) * kCell;
        }
        end = (end | (kWordPixels - 1)) + 1;
    }
    return end;
}
