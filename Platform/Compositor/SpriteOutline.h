#pragma once

#include "Platform/Compositor/PixelArea.h"

#include <array>

/// A convex polygon around all of a picture that shows, in texels: outside of it a bilinear sample
/// is nothing, so a sprite need not be drawn there. It stays within the picture, and has few
/// corners, some of which may coincide.
struct SpriteOutline {
    static constexpr int kCorners = 8;

    struct Corner {
        double u;
        double v;
    };

    /// In turn. Meaningless when empty.
    std::array<Corner, kCorners> corners = {};
    bool empty = true;

    /// The rectangle around them.
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    static SpriteOutline around(const Picture &picture);
};
