#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/Foundation/NSTypes.h"

#include <cstddef>
#include <optional>
#include <string>

class DeskTopView;

namespace Lumivera {

/// How a wallpaper is to be shown.
struct WallpaperSettings {
    /// In points.
    CGSize size{320, 480};

    /// Pixels a point.
    CGFloat density = 1;

    /// The view's own scale. The view fills the size whatever its scale.
    CGFloat scale = 1;

    /// Without values the bundle's description decides.
    std::optional<NSUInteger> petalCount;
    std::optional<NSInteger> speedLevel;

    CGFloat offset = 0;

    /// Shades the background picture; nothing leaves it as it is.
    std::optional<CGColor> tint;

    std::size_t pixelWidth() const;
    std::size_t pixelHeight() const;

    /// Throws a UsageError when the picture would be empty or too large.
    void check() const;

    /// Gives a new view its place in the superview and the settings. Main thread, before the
    /// view's resources load.
    void applyTo(DeskTopView &view) const;

    /// Shades the view's background if there is a tint, once the view's resources have loaded: it
    /// shades what is there, so twice is too much. For wallpapers with a background to shade.
    void tintBackground(DeskTopView &view) const;
};

/// A size written as WIDTHxHEIGHT. A UsageError for anything else.
CGSize sizeFromText(const std::string &text);

/// Largest side of a picture in pixels, and most pixels of one.
inline constexpr double kMaximumSide = 16384;
inline constexpr double kMaximumPixels = 64.0 * 1024 * 1024;

/// Most petals that the host asks for.
inline constexpr NSUInteger kMaximumPetals = 1'000'000;

} // namespace Lumivera
