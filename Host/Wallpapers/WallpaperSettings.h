#pragma once

#include "Host/Wallpapers/PictureSize.h"
#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>

class DeskTopView;

namespace Lumivera {

/// How a wallpaper is to be shown.
struct WallpaperSettings : PictureSize {
    /// The view's own scale. The view fills the size whatever its scale.
    CGFloat scale = 1;

    /// Without values the bundle's description decides.
    std::optional<NSUInteger> petalCount;
    std::optional<NSInteger> speedLevel;
    std::optional<NSInteger> scaleLevel;

    CGFloat offset = 0;

    /// Shades the background picture; nothing leaves it as it is.
    std::optional<CGColor> tint;

    /// Gives a new view its place in the superview and the settings. Main thread, before the
    /// view's resources load.
    void applyTo(DeskTopView &view) const;

    /// The settings that loading would undo: shades the background if there is a tint, and sets the
    /// scale level. Once, when the view's resources have loaded: what is there is shaded, so twice
    /// is too much. For wallpapers with a background to shade.
    void applyToLoaded(DeskTopView &view) const;
};

/// Most petals that the host asks for.
inline constexpr NSUInteger kMaximumPetals = 1'000'000;

} // namespace Lumivera
