#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSTypes.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// Limits of the values, wherever they are set.
inline constexpr NSUInteger kMaxPetals = 1'000'000;
inline constexpr NSInteger kMaxSpeed = 2147483647;
inline constexpr double kMinScale = 0.01;
inline constexpr double kMaxScale = 100;
inline constexpr double kMaxOffset = 100'000; ///< either way
inline constexpr NSInteger kMaxScaleLevel = 1000;

/// All values of a wallpaper that can be set. The bundle's description decides those that are
/// missing.
struct WallpaperValues {
    std::optional<NSUInteger> petals;
    std::optional<NSInteger> speed;

    /// The view's own scale. A view fills the screen at any scale.
    std::optional<CGFloat> scale;

    /// In points, to the right.
    std::optional<CGFloat> offset;

    /// The colour that shades the background; none when its alpha is 0.
    std::optional<CGColor> tint;

    /// How many times its size a petal gets when it is recycled.
    std::optional<NSInteger> scaleLevel;

    /// Replaces the values that `other` has.
    void apply(const WallpaperValues &other);

    /// The values that are missing or different in `earlier`.
    WallpaperValues changesSince(const WallpaperValues &earlier) const;

    /// True when `earlier` has a value that is missing here.
    bool lacksAnyOf(const WallpaperValues &earlier) const;

    bool operator==(const WallpaperValues &) const = default;
};

/// The values as bytes for another process of the same build. Missing values are zeros, so that no
/// other memory of this process leaks.
using WallpaperBytes = std::array<std::byte, sizeof(WallpaperValues)>;
WallpaperBytes bytesOf(const WallpaperValues &values);
WallpaperValues valuesFrom(const WallpaperBytes &bytes);

/// What an output is to show. The choice for all outputs decides values that are missing, then the
/// bundle's description.
struct WallpaperChoice : WallpaperValues {
    /// A path, or the name of an installed bundle.
    std::optional<std::string> bundle;

    /// Replaces the values that `other` has.
    void apply(const WallpaperChoice &other);

    /// Sets the value of a key from a text; "default" removes the value. Throws a UsageError that
    /// names `subject` and the key when the key is unknown or the text is no value of it.
    void set(std::string_view subject, std::string_view key, std::string_view text);

    /// As set(), but returns the problem; empty when the value was set.
    std::string trySet(std::string_view key, std::string_view text);

    /// The value of a key as a text that set() takes; nothing for a missing value or unknown key.
    std::optional<std::string> textOf(std::string_view key) const;

    /// How the value of a key is written in formats that tell texts from numbers.
    enum class Form { Text, WholeNumber, Number };

    struct Key {
        std::string_view name;

        /// The option of the command line without its dashes, and its help; empty for a key that
        /// has no option.
        std::string_view option;
        std::string_view help;

        Form form = Form::Text;

        /// What a value must be, for people: "a whole number from 0 to 1000000".
        std::string range;
    };

    /// All keys: wallpaper, petals, speed, scale, offset, tint, scale-level.
    static const std::vector<Key> &keys();

    /// Null for an unknown key.
    static const Key *findKey(std::string_view name);

    /// The names of the keys in one line: "wallpaper, petals, ...".
    static std::string keysText();

    bool operator==(const WallpaperChoice &) const = default;
};

} // namespace Lumivera
