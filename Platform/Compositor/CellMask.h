#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

/// A set of the device's pixels, with one bit for each cell of 16 pixels in a row (64 bytes, one
/// cache line). Adding and walking handle up to 64 cells of a row in one step. Keeps its memory.
class CellMask {
  public:
    /// Empties the set and makes it a set of pixels of `area`, which has no negative coordinates.
    void reset(const DeviceRect &area);

    const DeviceRect &area() const { return _area; }

    /// Adds the whole cells that pixels [left, right) of row `y` lie in. Cells that are in the set
    /// already are added to `again`, if given, which has the same area.
    void add(int y, int left, int right, CellMask *again = nullptr) {
        if (left >= right) {
            return;
        }
        const int word = (left >> kWordShift) - _firstWord;
        if (word == ((right - 1) >> kWordShift) - _firstWord) {
            addCells(indexOf(y) + static_cast<std::size_t>(word),
                     cellsFrom(left) & cellsUpTo(right - 1), again);
        } else {
            addToWords(y, left, right, again);
        }
    }
    void add(const DeviceRect &rect, CellMask *again = nullptr);

    /// Adds another set, which has the same area.
    void add(const CellMask &other);

    /// Removes what is in the other set, which has the same area.
    void remove(const CellMask &other);

    /// Removes what is not in the other set, whose area holds this one's.
    void keep(const CellMask &other);

    bool isEmpty() const;

    /// Counts every cell as 16 pixels, although one may reach beyond the area.
    long long pixelCount() const;

    /// Whether the cell of any of these pixels is in the set.
    bool intersects(const DeviceRect &rect) const;

    /// Calls run(left, right) for each run of pixels of [left, right) in the set, from left to
    /// right.
    template <class Run> void forEachRun(int y, int left, int right, const Run &run) const {
        const std::uint64_t *const row = wordsOf(y);
        while (left < right) {
            const std::uint64_t cells = row[(left >> kWordShift) - _firstWord] >> bitOf(left);
            if (cells == 0) {
                left = (left | (kWordPixels - 1)) + 1;
            } else if ((cells & 1) == 0) {
                left = startOfCell(left) + std::countr_zero(cells) * kCell;
            } else {
                const int end = std::min(endOfRun(row, left, right), right);
                run(left, end);
                left = end;
            }
        }
    }

  private:
    static constexpr int kCell = 16;
    static constexpr int kCellShift = 4;
    static_assert(1 << kCellShift == kCell);
    static constexpr int kWordPixels = kCell * 64;
    static constexpr int kWordShift = 10;

    static int startOfCell(int x) { return x & -kCell; }
    static int bitOf(int x) { return (x >> kCellShift) & 63; }

    // Bits of the word of a pixel: of its cell and all after it, and of its cell and all before it.
    static std::uint64_t cellsFrom(int x) { return ~std::uint64_t{0} << bitOf(x); }
    static std::uint64_t cellsUpTo(int x) { return ~std::uint64_t{0} >> (63 - bitOf(x)); }

    std::size_t indexOf(int y) const {
        return static_cast<std::size_t>(y - _area.top) * _wordsARow;
    }
    const std::uint64_t *wordsOf(int y) const { return &_cells[indexOf(y)]; }

    void addCells(std::size_t index, std::uint64_t cells, CellMask *again) {
        if (again) {
            again->_cells[index] |= _cells[index] & cells;
        }
        _cells[index] |= cells;
    }

    // The end of the run of cells in the set that contains `left`; may be beyond `right`.
    int endOfRun(const std::uint64_t *row, int left, int right) const {
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

    // Calls action(word, cells) for each word of a row that has cells of [left, right), which may
    // be empty; `cells` has their bits.
    template <class Action> void forEachWord(int left, int right, const Action &action) const {
        while (left < right) {
            const int end = std::min((left | (kWordPixels - 1)) + 1, right);
            action(static_cast<std::size_t>((left >> kWordShift) - _firstWord),
                   cellsFrom(left) & cellsUpTo(end - 1));
            left = end;
        }
    }

    void addToWords(int y, int left, int right, CellMask *again);

    DeviceRect _area;
    int _firstWord = 0;
    std::size_t _wordsARow = 0;
    std::vector<std::uint64_t> _cells;
};
