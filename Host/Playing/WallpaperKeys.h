#pragma once

#include "Host/Displays/Window.h"
#include "Host/Wallpapers/WallpaperChoice.h"

#include <optional>

namespace Lumivera {

/// The values that a wallpaper has while a person plays with it.
struct PlayedValues {
    /// Nothing for wallpapers without petals.
    std::optional<NSUInteger> petals;
    NSInteger speed = 0;

    /// What the key changes; nothing for keys that change no value.
    std::optional<WallpaperValues> changeBy(WindowKey key) const;
};

/// The change when the wallpaper of that offset is scrolled, at most a screen's width either way.
WallpaperValues changeByScrolling(std::optional<CGFloat> offset, CGFloat distance, CGFloat width);

} // namespace Lumivera
