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

    /// How many times its size a petal gets when it is recycled.
    std::optional<NSInteger> scaleLevel;

    /// Takes over every value that `other` has.
    void apply(const WallpaperChoice &other);

    /// Sets the value of a key from a text; "default" takes the value away. A UsageError that names
    /// `subject` and the key for an unknown key or a value that makes no sense.
    void set(std::string_view subject, std::string_view key, std::string_view text);

    /// The same, but gives what is wrong; empty when the value was set.
    std::string trySet(std::string_view key, std::string_view text);

    /// The value of a key as a text that set() takes; nothing without a value or such a key.
    std::optional<std::string> textOf(std::string_view key) const;

    /// How a key's value is written where texts and numbers differ.
    enum class Form { Text, WholeNumber, Number };

    /// Nothing for an unknown key.
    static std::optional<Form> formOf(std::string_view key);

    /// What a value of a known key must be, for people: "a whole number from 0 to 1000000".
    static std::string rangeOf(std::string_view key);

    /// "wallpaper", "petals", "speed", "scale", "offset", "tint", "scale-level".
    static const std::vector<std::string_view> &keys();

    /// The same in one line: "wallpaper, petals, ...".
    static std::string keysText();

    bool operator==(const WallpaperChoice &) const = default;
};

} // namespace Lumivera
