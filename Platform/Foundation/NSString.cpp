#include "Platform/Foundation/NSString.h"

#include <iterator>
#include <utf8.h>

namespace {

constexpr char32_t kLastOfOneUnit = 0xffff;

/// The length in bytes of the control character at `i`: a C0 control, delete, or a C1 control
/// (C2 80 to C2 9F). 0 for any other character.
std::size_t controlLength(std::string_view text, std::size_t i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == 0x7f) {
        return 1;
    }
    const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    return byte == 0xc2 && next >= 0x80 && next < 0xa0 ? 2 : 0;
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

std::string withoutControls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = controlLength(text, i);
        result += length > 0 ? '?' : text[i];
        i += length > 0 ? length : 1;
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
