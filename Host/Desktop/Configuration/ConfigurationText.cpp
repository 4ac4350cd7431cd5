#include "Host/Desktop/Configuration/ConfigurationText.h"

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSString.h"

#include <array>
#include <cstdio>
#include <optional>
#include <toml++/toml.h>

namespace Lumivera::ConfigurationText {

namespace {

constexpr const char *kKey = "wallpaper";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr const char *kAdvice = "write the line wallpaper = \"...\" with an editor";

/// A part of a text, in bytes.
struct Range {
    std::size_t begin;
    std::size_t end;
};

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// Where a place of the library's is in the text: lines and columns count from 1, columns are
/// characters, and a byte order mark is none.
std::size_t offsetOf(std::string_view text, const toml::source_position &position) {
    std::size_t offset = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    for (toml::source_index line = 1; line < position.line; ++line) {
        const std::size_t end = text.find('\n', offset);
        offset = end == std::string_view::npos ? text.size() : end + 1;
    }
    for (toml::source_index column = 1; column < position.column && offset < text.size();
         ++column) {
        do {
            ++offset;
        } while (offset < text.size() && continuesCharacter(text[offset]));
    }
    return offset;
}

/// Where the value of the key is written; nothing without one.
std::optional<Range> valueRange(std::string_view text) {
    const toml::table table = toml::parse(text);
    const toml::node *value = table.get(kKey);
    if (!value) {
        return std::nullopt;
    }
    return Range{offsetOf(text, value->source().begin), offsetOf(text, value->source().end)};
}

std::string quoted(std::string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text.append({'\\', c});
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
            text += escape.data();
        } else {
            text += c;
        }
    }
    return text + "\"";
}

/// A new line at the top, where it belongs to no table.
std::string withNewLine(std::string_view text, const std::string &value) {
    const std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    const char *lineEnd = text.find("\r\n") == std::string_view::npos ? "\n" : "\r\n";
    std::string result(text);
    return result.insert(start, std::string(kKey) + " = " + value + lineEnd);
}

bool saysWhatItShould(const std::string &text, const Configuration &before,
                      const std::string &wallpaper, const std::string &path) {
    try {
        const Configuration after = Configuration::parse(text, path);
        return after.choice().bundle == wallpaper && after.isSameButForWallpaper(before);
    } catch (const HostError &) {
        return false;
    }
}

} // namespace

std::string withWallpaper(std::string_view text, const std::string &wallpaper,
                          const std::string &path) {
    const Configuration before = Configuration::parse(text, path);
    if (!isValidUTF8(wallpaper)) {
        throw HostError(wallpaper, "is not UTF-8 and cannot be written into " + path,
                        "rename the bundle");
    }
    const auto range = valueRange(text);
    std::string result;
    if (range) {
        result = text;
        result.replace(range->begin, range->end - range->begin, quoted(wallpaper));
    } else {
        result = withNewLine(text, quoted(wallpaper));
    }
    if (!saysWhatItShould(result, before, wallpaper, path)) {
        throw HostError(path, "cannot be changed without changing more than the wallpaper",
                        kAdvice);
    }
    return result;
}

} // namespace Lumivera::ConfigurationText
