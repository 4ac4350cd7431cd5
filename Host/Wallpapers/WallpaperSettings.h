#pragma once

#include "Host/Wallpapers/WallpaperChoice.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class DeskTopView;

namespace Lumivera {

/// Limits of a picture, in pixels a side and in all.
inline constexpr double kMaxSide = 16384;
inline constexpr double kMaxPixels = 64.0 * 1024 * 1024;

/// The size of a picture, in a file or on a display.
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

/// Reads a size written as WIDTHxHEIGHT. Throws a UsageError for anything else.
CGSize sizeFromText(const std::string &text);

/// What of a wallpaper is shown.
enum class WallpaperPart : std::uint32_t {
    Whole,
    Petals,     ///< all but its background view, over nothing: pixels are transparent there
    Background, ///< its background view alone
};

/// How a wallpaper is shown: how large, and with which values.
struct WallpaperSettings : PictureSize, WallpaperValues {
    /// The seed of the random numbers; without one they stay as the wallpaper has seeded them.
    std::optional<unsigned> seed = {};

    /// Gives a new view its frame and the values, before the view's resources load. Main thread.
    void applyTo(DeskTopView &view) const;

    /// Gives a view the values that `change` has, except the tint, which only applyToLoaded() can
    /// give. Values for petals do nothing to a view without petals. Main thread.
    void applyTo(DeskTopView &view, const WallpaperValues &change) const;

    /// Gives a view the values that loading its resources overwrites: the scale level and the tint.
    /// Then seeds the random numbers, which a wallpaper may have seeded with the time. Called once
    /// for each view, after it has loaded and before its first frame, because a second tint would
    /// shade the shaded background. Main thread.
    void applyToLoaded(DeskTopView &view) const;
};

/// A seed that differs from start to start.
unsigned newSeed();

/// The seed for one of several outputs, so that equal outputs do not show the same. The same for
/// the same arguments on every machine.
unsigned seedForOutput(unsigned seed, std::string_view output);

} // namespace Lumivera
