#pragma once

#include "Platform/Compositor/CellMask.h"

/// Which pixels to draw: those of a rectangle, and, where there is a mask, only those in it. A
/// pixel comes out the same whatever else is drawn.
struct PaintClip {
    DeviceRect rect;
    /// Not owned; null for all. Its area holds the rectangle.
    const CellMask *mask = nullptr;

    PaintClip within(const DeviceRect &bounds) const { return {rect.intersection(bounds), mask}; }

    /// Calls run(left, right) for the pixels to draw of [left, right), which lies in the rectangle.
    template <class Run> void forEachRun(int y, int left, int right, const Run &run) const {
        if (mask) {
            mask->forEachRun(y, left, right, run);
        } else if (left < right) {
            run(left, right);
        }
    }

    /// Calls draw(left, y, cells) where any of the eight cells of a row from `left` on, which may
    /// begin and end outside of the rectangle, have pixels to draw; `cells` has their bits, see
    /// CellMask::eightCells(). Goes from top to bottom, and then on to the right.
    template <class Draw> void forEachEightCells(const Draw &draw) const {
        constexpr int kWidth = CellMask::kEightCells;
        for (int left = rect.left & -kWidth; left < rect.right; left += kWidth) {
            const unsigned inside = CellMask::eightFrom(rect.left - left) &
                                    ~CellMask::eightFrom(rect.right - left + CellMask::kCell - 1);
            for (int y = rect.top; y < rect.bottom; y++) {
                if (const unsigned cells = mask ? mask->eightCells(y, left) & inside : inside) {
                    draw(left, y, cells);
                }
            }
        }
    }
};
