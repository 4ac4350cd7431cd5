#pragma once

#include "Platform/Compositor/CellMask.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <cstddef>
#include <cstdint>

/// Pixels to read: premultiplied, 0xAARRGGBB, rows without padding. Not owned.
struct Picture {
    const std::uint32_t *pixels = nullptr;
    int width = 0;
    int height = 0;
    bool opaque = false;

    const std::uint32_t *at(int x, int y) const {
        return pixels + static_cast<std::ptrdiff_t>(y) * width + x;
    }

    static Picture whole(const CGImage &image) {
        return {image.pixels(), static_cast<int>(image.width()), static_cast<int>(image.height()),
                image.isOpaque()};
    }
};

/// Pixels to draw into: premultiplied, those of `area` of the device, with rows `stride` pixels
/// apart. Not owned.
struct PixelArea {
    std::uint32_t *pixels = nullptr;
    DeviceRect area;
    std::ptrdiff_t stride = 0;

    std::uint32_t *at(int x, int y) const {
        return pixels + (y - area.top) * stride + (x - area.left);
    }
};

/// Which pixels to draw: those of a rectangle, and, where there is a mask, only those in it. The
/// clip never changes the value of a pixel that is drawn.
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
