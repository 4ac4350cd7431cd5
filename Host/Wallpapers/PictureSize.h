#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstddef>
#include <string>

namespace Lumivera {

/// How large a picture is, in a file or on a display.
struct PictureSize {
    /// In points.
    CGSize size{320, 480};

    /// Pixels a point.
    CGFloat density = 1;

    std::size_t pixelWidth() const;
    std::size_t pixelHeight() const;

    /// Throws a UsageError when the picture would be empty or too large.
    void check() const;
};

/// A size written as WIDTHxHEIGHT. A UsageError for anything else.
CGSize sizeFromText(const std::string &text);

/// Largest side of a picture in pixels, and most pixels of one.
inline constexpr double kMaximumSide = 16384;
inline constexpr double kMaximumPixels = 64.0 * 1024 * 1024;

} // namespace Lumivera
