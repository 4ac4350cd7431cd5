#pragma once

#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <cstddef>
#include <cstdint>

/// Premultiplied pixels (0xAARRGGBB) without padding to read from. Not owned.
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

/// Premultiplied pixels to draw into: those of `area`, rows `stride` pixels apart. Not owned.
struct PixelArea {
    std::uint32_t *pixels = nullptr;
    DeviceRect area;
    std::ptrdiff_t stride = 0;

    std::uint32_t *at(int x, int y) const {
        return pixels + (y - area.top) * stride + (x - area.left);
    }
};
