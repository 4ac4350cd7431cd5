#include "Host/Wallpapers/WallpaperChoice.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/ColorText.h"
#include "Host/Wallpapers/WallpaperSettings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Lumivera {

namespace {

using Form = WallpaperChoice::Form;

constexpr std::size_t kLongestPath = 4096;
constexpr std::string_view kDefault = "default";
constexpr std::string_view kNoTint = "none";

/// One key: what its values must be, and how they get into a choice and out of it. `read` gives
/// false for a text that is no such value, and changes nothing then.
struct Key {
    std::string_view name;
    Form form;
    const char *range;
    bool (*read)(WallpaperChoice &choice, std::string_view text);
    std::optional<std::string> (*write)(const WallpaperChoice &choice);
    void (*apply)(WallpaperChoice &choice, const WallpaperChoice &other);
};

/// The whole text as a number of that type within the limits.
template <typename Number>
std::optional<Number> numberFrom(std::string_view text, Number smallest, Number largest) {
    Number number{};
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool isWithin = number >= smallest && number <= largest;
    return result.ec == std::errc() && result.ptr == end && isWithin ? std::optional(number)
                                                                     : std::nullopt;
}

template <typename Number>
bool readNumber(std::optional<Number> &target, std::string_view text, Number smallest,
                Number largest) {
    const auto number = numberFrom(text, smallest, largest);
    target = number ? number : target;
    return number.has_value();
}

/// A path or a name; no system takes a zero byte in one.
bool readPath(std::optional<std::string> &target, std::string_view text) {
    const bool isPath =
        !text.empty() && text.size() <= kLongestPath && text.find('\0') == std::string_view::npos;
    if (isPath) {
        target = text;
    }
    return isPath;
}

bool readTint(std::optional<CGColor> &target, std::string_view text) {
    if (text == kNoTint) {
        target = CGColor{0, 0, 0, 0};
        return true;
    }
    try {
        target = colorFromText("tint", std::string(text));
        return true;
    } catch (const UsageError &) {
        return false;
    }
}

std::string textOfColor(const CGColor &color) {
    const auto byte = [](CGFloat component) {
        return static_cast<unsigned>(std::lround(std::clamp<CGFloat>(component, 0, 1) * 255));
    };
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "#%02x%02x%02x%02x", byte(color.red), byte(color.green),
                  byte(color.blue), byte(color.alpha));
    return text.data();
}

std::string textOfValue(const std::string &value) { return value; }
std::string textOfValue(const CGColor &value) {
    return value.alpha > 0 ? textOfColor(value) : std::string(kNoTint);
}
std::string textOfValue(NSUInteger value) { return textOfNumber(std::uint64_t{value}); }
std::string textOfValue(NSInteger value) { return textOfNumber(std::int64_t{value}); }
std::string textOfValue(CGFloat value) { return textOfNumber(double{value}); }

/// The two ways out of a choice that are alike for every field.
template <auto Field> std::optional<std::string> writeField(const WallpaperChoice &choice) {
    const auto &value = choice.*Field;
    return value ? std::optional(textOfValue(*value)) : std::nullopt;
}
template <auto Field> void applyField(WallpaperChoice &choice, const WallpaperChoice &other) {
    if (other.*Field) {
        choice.*Field = other.*Field;
    }
}

/// Any text of a value reads as one, but "default" takes the field's value away.
template <auto Field, auto Read> bool readField(WallpaperChoice &choice, std::string_view text) {
    if (text == kDefault) {
        choice.*Field = std::nullopt;
        return true;
    }
    return Read(choice.*Field, text);
}

template <auto Field, auto Read>
constexpr Key keyOf(std::string_view name, Form form, const char *range) {
    return {name, form, range, readField<Field, Read>, writeField<Field>, applyField<Field>};
}

template <typename Number, auto Smallest, auto Largest>
bool readWhole(std::optional<Number> &target, std::string_view text) {
    return readNumber<Number>(target, text, Smallest, Largest);
}

bool readScale(std::optional<CGFloat> &target, std::string_view text) {
    return readNumber<CGFloat>(target, text, 0.01, 100);
}

bool readOffset(std::optional<CGFloat> &target, std::string_view text) {
    return readNumber<CGFloat>(target, text, -100'000, 100'000);
}

using Choice = WallpaperChoice;

constexpr Key kKeys[] = {
    keyOf<&Choice::bundle, readPath>("wallpaper", Form::Text, "a bundle's path or name"),
    keyOf<&Choice::petals, readWhole<NSUInteger, 0, kMaximumPetals>>(
        "petals", Form::WholeNumber, "a whole number from 0 to 1000000"),
    keyOf<&Choice::speed, readWhole<NSInteger, 0, 2147483647>>(
        "speed", Form::WholeNumber, "a whole number from 0 to 2147483647"),
    keyOf<&Choice::scale, readScale>("scale", Form::Number, "a number from 0.01 to 100"),
    keyOf<&Choice::offset, readOffset>("offset", Form::Number, "a number from -100000 to 100000"),
    keyOf<&Choice::tint, readTint>("tint", Form::Text,
                                   "#rgb, #rrggbb, #rrggbbaa, a colour's name or \"none\""),
    keyOf<&Choice::scaleLevel, readWhole<NSInteger, -1000, 1000>>(
        "scale-level", Form::WholeNumber, "a whole number from -1000 to 1000"),
};

const Key *findKey(std::string_view name) {
    const auto key = std::find_if(std::begin(kKeys), std::end(kKeys),
                                  [name](const Key &known) { return known.name == name; });
    return key == std::end(kKeys) ? nullptr : key;
}

} // namespace

void WallpaperChoice::apply(const WallpaperChoice &other) {
    for (const Key &key : kKeys) {
        key.apply(*this, other);
    }
}

void WallpaperChoice::set(std::string_view subject, std::string_view key, std::string_view text) {
    const std::string problem = trySet(key, text);
    if (!problem.empty()) {
        throw UsageError(subject, problem);
    }
}

std::string WallpaperChoice::trySet(std::string_view key, std::string_view text) {
    const Key *known = findKey(key);
    const std::string name = "\"" + std::string(key) + "\"";
    if (!known) {
        return name + " is no key; use one of " + keysText();
    }
    return known->read(*this, text) ? "" : name + " is not " + known->range;
}

std::optional<std::string> WallpaperChoice::textOf(std::string_view key) const {
    const Key *known = findKey(key);
    return known ? known->write(*this) : std::nullopt;
}

std::optional<WallpaperChoice::Form> WallpaperChoice::formOf(std::string_view key) {
    const Key *known = findKey(key);
    return known ? std::optional(known->form) : std::nullopt;
}

std::string WallpaperChoice::rangeOf(std::string_view key) {
    const Key *known = findKey(key);
    return known ? known->range : "";
}

const std::vector<std::string_view> &WallpaperChoice::keys() {
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> found;
        for (const Key &key : kKeys) {
            found.push_back(key.name);
        }
        return found;
    }();
    return names;
}

std::string WallpaperChoice::keysText() {
    std::string text;
    for (const Key &key : kKeys) {
        text.append(text.empty() ? "" : ", ").append(key.name);
    }
    return text;
}

} // namespace Lumivera
