#include "Host/Wallpapers/WallpaperChoice.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/ColorText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

namespace Lumivera {

namespace {

using Form = WallpaperChoice::Form;

constexpr std::size_t kMaxPath = 4096;
constexpr std::string_view kDefault = "default";
constexpr std::string_view kNoTint = "none";

/// A row of the table: a key, its option of the command line with help, and its limits.
struct Row {
    std::string_view key;
    std::string_view option;
    std::string_view help;

    /// Limits of a number.
    double min = 0;
    double max = 0;

    /// What a value must be if it is not a number, for people.
    std::string_view words = {};
};

/// The table of what can be set: calls `action(row, field)` for each value.
template <class Action> void forEachValue(Action action) {
    using Values = WallpaperValues;
    action(Row{"petals", "count", "Petals, where petals fall, instead of the bundle's number", 0,
               kMaxPetals},
           &Values::petals);
    action(Row{"speed", "speed", "Speed level, instead of the bundle's", 0, kMaxSpeed},
           &Values::speed);
    action(Row{"scale", "scale", "The wallpaper's own scale", kMinScale, kMaxScale},
           &Values::scale);
    action(Row{"offset", "offset", "Points that the wallpaper is shifted to the right", -kMaxOffset,
               kMaxOffset},
           &Values::offset);
    action(Row{"tint", "tint", "Shades the background behind petals", 0, 0,
               "#rgb, #rrggbb, #rrggbbaa, a colour's name or \"none\""},
           &Values::tint);
    action(Row{"scale-level", "scale-level", "Factor by which a petal grows as it falls again",
               -kMaxScaleLevel, kMaxScaleLevel},
           &Values::scaleLevel);
}

/// All keys of a choice: the bundle and the values.
template <class Action> void forEachKey(Action action) {
    action(Row{"wallpaper", "", "", 0, 0, "a bundle's path or name"}, &WallpaperChoice::bundle);
    forEachValue(action);
}

/// Calls `action(row, field)` for the key of that name. False when there is none.
template <class Action> bool withKey(std::string_view name, Action action) {
    bool isFound = false;
    forEachKey([&](const Row &row, auto field) {
        if (row.key == name) {
            isFound = true;
            action(row, field);
        }
    });
    return isFound;
}

template <class Value> constexpr Form formOf() {
    return std::is_floating_point_v<Value> ? Form::Number
           : std::is_integral_v<Value>     ? Form::WholeNumber
                                           : Form::Text;
}

/// Limits are whole numbers, except small fractions such as 0.01.
std::string textOfLimit(double limit) {
    return std::trunc(limit) == limit ? std::to_string(static_cast<long long>(limit))
                                      : textOfNumber(limit);
}

std::string rangeOf(const Row &row, Form form) {
    if (form == Form::Text) {
        return std::string(row.words);
    }
    return (form == Form::WholeNumber ? "a whole number from " : "a number from ") +
           textOfLimit(row.min) + " to " + textOfLimit(row.max);
}

// Each reads a value from a whole text. False, with the target unchanged, for an invalid text.

template <class Number>
bool read(std::optional<Number> &target, std::string_view text, const Row &row) {
    Number number{};
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool isValue = result.ec == std::errc() && result.ptr == end &&
                         number >= static_cast<Number>(row.min) &&
                         number <= static_cast<Number>(row.max);
    target = isValue ? number : target;
    return isValue;
}

/// No system takes a zero byte in a path or a name.
bool read(std::optional<std::string> &target, std::string_view text, const Row &) {
    const bool isPath =
        !text.empty() && text.size() <= kMaxPath && text.find('\0') == std::string_view::npos;
    if (isPath) {
        target = text;
    }
    return isPath;
}

bool read(std::optional<CGColor> &target, std::string_view text, const Row &row) {
    try {
        target = text == kNoTint ? CGColor{0, 0, 0, 0}
                                 : colorFromText(std::string(row.key), std::string(text));
        return true;
    } catch (const UsageError &) {
        return false;
    }
}

std::string textOf(const std::string &value) { return value; }
std::string textOf(NSUInteger value) { return textOfNumber(std::uint64_t{value}); }
std::string textOf(NSInteger value) { return textOfNumber(std::int64_t{value}); }
std::string textOf(CGFloat value) { return textOfNumber(double{value}); }

std::string textOf(const CGColor &value) {
    if (value.alpha <= 0) {
        return std::string(kNoTint);
    }
    const auto byte = [](CGFloat component) {
        return static_cast<unsigned>(std::lround(std::clamp<CGFloat>(component, 0, 1) * 255));
    };
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "#%02x%02x%02x%02x", byte(value.red), byte(value.green),
                  byte(value.blue), byte(value.alpha));
    return text.data();
}

} // namespace

void WallpaperValues::apply(const WallpaperValues &other) {
    forEachValue([&](const Row &, auto field) {
        this->*field = other.*field ? other.*field : this->*field;
    });
}

WallpaperValues WallpaperValues::changesSince(const WallpaperValues &earlier) const {
    WallpaperValues changes;
    forEachValue([&](const Row &, auto field) {
        if (this->*field != earlier.*field) {
            changes.*field = this->*field;
        }
    });
    return changes;
}

bool WallpaperValues::lacksAnyOf(const WallpaperValues &earlier) const {
    bool isAnyMissing = false;
    forEachValue([&](const Row &, auto field) {
        isAnyMissing = isAnyMissing || (earlier.*field && !(this->*field));
    });
    return isAnyMissing;
}

/// Writes for each value a byte that tells whether it is set, and then the value. That fits,
/// because an optional is never smaller.
WallpaperBytes bytesOf(const WallpaperValues &values) {
    WallpaperBytes bytes{};
    std::byte *at = bytes.data();
    forEachValue([&](const Row &, auto field) {
        const auto &value = values.*field;
        *at++ = std::byte{value.has_value()};
        if (value) {
            std::memcpy(at, &*value, sizeof *value);
        }
        at += sizeof *value;
    });
    return bytes;
}

WallpaperValues valuesFrom(const WallpaperBytes &bytes) {
    WallpaperValues values;
    const std::byte *at = bytes.data();
    forEachValue([&](const Row &, auto field) {
        auto &value = values.*field;
        if (*at++ != std::byte{0}) {
            std::memcpy(&value.emplace(), at, sizeof *value);
        }
        at += sizeof *value;
    });
    return values;
}

void WallpaperChoice::apply(const WallpaperChoice &other) {
    WallpaperValues::apply(other);
    bundle = other.bundle ? other.bundle : bundle;
}

void WallpaperChoice::set(std::string_view subject, std::string_view key, std::string_view text) {
    const std::string problem = trySet(key, text);
    if (!problem.empty()) {
        throw UsageError(subject, problem);
    }
}

std::string WallpaperChoice::trySet(std::string_view key, std::string_view text) {
    const std::string name = "\"" + std::string(key) + "\"";
    std::string problem;
    const bool isKnown = withKey(key, [&](const Row &row, auto field) {
        auto &value = this->*field;
        if (text == kDefault) {
            value.reset();
        } else if (!read(value, text, row)) {
            problem = name + " is not " + findKey(key)->range;
        }
    });
    return isKnown ? problem : name + " is no key; use one of " + keysText();
}

std::optional<std::string> WallpaperChoice::textOf(std::string_view key) const {
    std::optional<std::string> text;
    withKey(key, [&](const Row &, auto field) {
        const auto &value = this->*field;
        text = value ? std::optional(Lumivera::textOf(*value)) : std::nullopt;
    });
    return text;
}

const std::vector<WallpaperChoice::Key> &WallpaperChoice::keys() {
    static const std::vector<Key> keys = [] {
        std::vector<Key> found;
        forEachKey([&]<class Owner, class Value>(const Row &row, std::optional<Value> Owner::*) {
            constexpr Form form = formOf<Value>();
            found.push_back({row.key, row.option, row.help, form, rangeOf(row, form)});
        });
        return found;
    }();
    return keys;
}

const WallpaperChoice::Key *WallpaperChoice::findKey(std::string_view name) {
    const auto key = std::find_if(keys().begin(), keys().end(),
                                  [name](const Key &known) { return known.name == name; });
    return key == keys().end() ? nullptr : &*key;
}

std::string WallpaperChoice::keysText() {
    std::string text;
    for (const Key &key : keys()) {
        text.append(text.empty() ? "" : ", ").append(key.name);
    }
    return text;
}

} // namespace Lumivera
