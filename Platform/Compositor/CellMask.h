#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

/// A set of the device's pixels, told apart by cells of 16 in a row, which is what memory moves at
/// a time. Adding and walking take time by the row, not by the pixel. Keeps its memory.
class CellMask {
  public:
    /// Pixels of a cell.
    static constexpr int kCell = 16;

    /// Where the pixel's cell begins, and where the next one does.
    static int startOfCell(int x) { return x & -kCell; }
    static int endOfCell(int x) { return startOfCell(x) + kCell; }

    /// Forgets all; from now on the set is of the pixels of `area`, which holds no negative ones.
    void reset(const DeviceRect &area);

    const DeviceRect &area() const { return _area; }

    /// Adds pixels of a row of the area, with the rest of the cells that they lie in. Cells that
    /// are in the set already go into `again`, too, which was reset to the same area.
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

    /// Adds what is in another set of the same area.
    void add(const CellMask &other);

    /// Takes out what is in the other, which has the same area.
    void remove(const CellMask &other);

    /// Takes out what is not in the other, whose area holds this one's.
    void keep(const CellMask &other);

    bool isEmpty() const;

    /// Of the pixels of all cells; those at the right end count as whole ones.
    long long pixelCount() const;

    /// Whether any of these pixels' cells is in the set.
    bool intersects(const DeviceRect &rect) const;

    /// Eight cells of a row side by side, a bit each, the first one's the lowest; it begins at
    /// `left`, a multiple of their width.
    static constexpr int kEightCells = 8 * kCell;
    unsigned eightCells(int y, int left) const {
        return wordsOf(y)[(left >> kWordShift) - _firstWord] >> bitOf(left) & 0xFF;
    }

    /// Of eight cells, the bits of that with the pixel and of those behind it.
    static unsigned eightFrom(int pixel) { return 0xFFU << std::clamp(pixel / kCell, 0, 8) & 0xFF; }

    /// Calls run(left, right) for the pixels of [left, right) in the set, from the left.
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
    static constexpr int kCellShift = 4;
    static_assert(1 << kCellShift == kCell);
    static constexpr int kWordPixels = kCell * 64;
    static constexpr int kWordShift = 10;

    static int bitOf(int x) { return (x >> kCellShift) & 63; }

    // Of the word that the pixel lies in.
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

    // Of the run that `left` lies in.
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

    void addToWords(int y, int left, int right, CellMask *again);

    DeviceRect _area;
    int _firstWord = 0;
    std::size_t _wordsARow = 0;
    std::vector<std::uint64_t> _cells;
};
