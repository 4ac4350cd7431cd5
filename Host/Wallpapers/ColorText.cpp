#include "Host/Wallpapers/ColorText.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Lumivera {

namespace {

struct NamedColor {
    std::string_view name;
    std::uint32_t rgb;
};

constexpr NamedColor kNames[] = {
    {"aqua", 0x00ffff},    {"black", 0x000000},   {"blue", 0x0000ff},   {"cyan", 0x00ffff},
    {"fuchsia", 0xff00ff}, {"gray", 0x808080},    {"green", 0x008000},  {"grey", 0x808080},
    {"lime", 0x00ff00},    {"magenta", 0xff00ff}, {"maroon", 0x800000}, {"navy", 0x000080},
    {"olive", 0x808000},   {"orange", 0xffa500},  {"pink", 0xffc0cb},   {"purple", 0x800080},
    {"red", 0xff0000},     {"silver", 0xc0c0c0},  {"teal", 0x008080},   {"white", 0xffffff},
    {"yellow", 0xffff00},
};

std::string inLowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

CGColor colorFromBytes(std::uint32_t rgba) {
    const auto component = [rgba](int shift) {
        return static_cast<CGFloat>(rgba >> shift & 0xff) / 255;
    };
    return {component(24), component(16), component(8), component(0)};
}

std::optional<std::uint32_t> digit(char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::size_t value = kDigits.find(c);
    return value == std::string_view::npos ? std::nullopt
                                           : std::optional(static_cast<std::uint32_t>(value));
}

/// With 3 or 4 digits, each one is doubled.
std::optional<CGColor> colorFromDigits(std::string_view digits) {
    const bool isShort = digits.size() == 3 || digits.size() == 4;
    if (!isShort && digits.size() != 6 && digits.size() != 8) {
        return std::nullopt;
    }
    std::uint32_t bits = 0;
    for (const char c : digits) {
        const auto value = digit(c);
        if (!value) {
            return std::nullopt;
        }
        bits = isShort ? bits << 8 | *value * 0x11 : bits << 4 | *value;
    }
    const bool hasAlpha = digits.size() == 4 || digits.size() == 8;
    return colorFromBytes(hasAlpha ? bits : bits << 8 | 0xff);
}

std::optional<CGColor> colorFromName(std::string_view name) {
    const auto named = std::find_if(std::begin(kNames), std::end(kNames),
                                    [name](const NamedColor &known) { return known.name == name; });
    return named == std::end(kNames) ? std::nullopt
                                     : std::optional(colorFromBytes(named->rgb << 8 | 0xff));
}

} // namespace

CGColor colorFromText(const std::string &subject, const std::string &text) {
    const std::string plain = inLowerCase(text);
    const auto color =
        plain.starts_with('#') ? colorFromDigits(plain.substr(1)) : colorFromName(plain);
    if (!color) {
        throw UsageError(subject, "\"" + text + "\" is no colour",
                         "write it as #rgb, #rrggbb, #rrggbbaa or a name such as teal");
    }
    return *color;
}

} // namespace Lumivera
