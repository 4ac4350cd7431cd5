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
};
