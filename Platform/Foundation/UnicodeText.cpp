#include "Platform/Foundation/UnicodeText.h"

#include <iterator>
#include <utf8.h>

namespace {

constexpr char32_t kLastOfOneUnit = 0xffff;

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
