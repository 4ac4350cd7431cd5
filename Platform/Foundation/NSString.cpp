#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utf8.h>

namespace {

constexpr char32_t kLastOfOneUnit = 0xffff;

std::string escapeSequence(char32_t character) {
    switch (character) {
    case U'\n':
        return "\\n";
    case U'\r':
        return "\\r";
    case U'\t':
        return "\\t";
    default:
        break;
    }
    char text[16];
    std::snprintf(text, sizeof text, character < 0x100 ? "\\x%02x" : "\\u%04x",
                  static_cast<unsigned>(character));
    return text;
}

} // namespace

bool isValidUTF8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    auto position = text.begin();
    while (position != text.end()) {
        const auto invalid = utf8::find_invalid(position, text.end());
        while (position != invalid) {
            length += utf8::unchecked::next(position) > kLastOfOneUnit ? 2 : 1;
        }
        if (position != text.end()) {
            ++position;
            ++length;
        }
    }
    return length;
}

bool isControlCharacter(char32_t character) {
    constexpr struct {
        char32_t first, last;
    } kControls[] = {{0, 0x1f},        {0x7f, 0x9f},     {0x61c, 0x61c},
                     {0x200e, 0x200f}, {0x2028, 0x202e}, {0x2066, 0x206f}};
    return std::any_of(std::begin(kControls), std::end(kControls), [character](const auto &range) {
        return character >= range.first && character <= range.last;
    });
}

std::string withoutControls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    auto position = text.begin();
    while (position != text.end()) {
        const auto invalid = utf8::find_invalid(position, text.end());
        while (position != invalid) {
            const auto start = position;
            const char32_t character = utf8::unchecked::next(position);
            if (isControlCharacter(character)) {
                result += escapeSequence(character);
            } else {
                result.append(start, position);
            }
        }
        if (position != text.end()) {
            result += escapeSequence(static_cast<unsigned char>(*position++));
        }
    }
    return result;
}

std::optional<std::string> utf8FromBigEndianUTF16(std::span<const std::uint8_t> bytes) {
    if (bytes.size() % 2 != 0) {
        return std::nullopt;
    }
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        units.push_back(static_cast<char16_t>(bytes[i] << 8 | bytes[i + 1]));
    }
    std::string text;
    try {
        utf8::utf16to8(units.begin(), units.end(), std::back_inserter(text));
    } catch (const utf8::invalid_utf16 &) {
        return std::nullopt;
    }
    return text;
}
