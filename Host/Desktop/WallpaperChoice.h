#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// What is asked for on an output. What has no value is left to whoever decides next: the choice
/// for all outputs, then the bundle's description.
struct WallpaperChoice {
    /// A path, or the name of an installed bundle.
    std::optional<std::string> bundle;

    std::optional<NSUInteger> petals;
    std::optional<NSInteger> speed;
    std::optional<CGFloat> scale;
    std::optional<CGFloat> offset;

    /// Without alpha: no shade.
    std::optional<CGColor> tint;

    std::optional<NSInteger> scaleLevel;

    /// Takes over every value that `other` has.
    void apply(const WallpaperChoice &other);

    /// Sets the value of a key from a text; "default" takes the value away. A UsageError that names
    /// `subject` and the key for an unknown key or a value that makes no sense.
    void set(std::string_view subject, std::string_view key, std::string_view text);

    /// "wallpaper", "petals", "speed", "scale", "offset", "tint", "scale-level".
    static const std::vector<std::string_view> &keys();

    bool operator==(const WallpaperChoice &) const = default;
};

} // namespace Lumivera
