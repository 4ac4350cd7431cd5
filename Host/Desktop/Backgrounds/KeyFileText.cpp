#include "Host/Desktop/Backgrounds/KeyFileText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utf8.h>
#include <utility>
#include <vector>

namespace Lumivera::KeyFileText {

namespace {

using Escapes = std::array<std::pair<char, char>, 5>;

constexpr Escapes kEscapesOfGLib = {
    {{'s', ' '}, {'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'\\', '\\'}}};
constexpr Escapes kEscapesOfQt = {
    {{'"', '"'}, {'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'\\', '\\'}}};

/// The character that a backslash and `letter` stand for; `letter` itself when they are no escape.
char meaningOf(char letter, const Escapes &escapes) {
    for (const auto &[name, meaning] : escapes) {
        if (name == letter) {
            return meaning;
        }
    }
    return letter;
}

/// The letter of the character's escape; 0 when it has none.
char letterFor(char meaning, const Escapes &escapes) {
    for (const auto &[name, escaped] : escapes) {
        if (escaped == meaning) {
            return name;
        }
    }
    return 0;
}

std::string escaped(std::string_view text, const Escapes &escapes) {
    std::string result;
    for (const char c : text) {
        const char letter = letterFor(c, escapes);
        result += letter ? std::string{'\\', letter} : std::string(1, c);
    }
    return result;
}

/// The lines of the text with their ends, so that together they are the text.
std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.emplace_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return lines;
}

std::string_view withoutEnd(std::string_view line) {
    while (line.ends_with('\n') || line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

bool isHeader(std::string_view line) { return line.starts_with('['); }

bool isHeaderOf(std::string_view line, std::string_view group) {
    return withoutEnd(line) == "[" + std::string(group) + "]";
}

bool hasKey(std::string_view line, std::string_view key) {
    return line.starts_with(key) && line.substr(key.size()).starts_with('=');
}

/// The lines of a group without its header, as indices.
struct GroupLines {
    std::size_t begin;
    std::size_t end;
};

std::optional<GroupLines> linesOfGroup(const std::vector<std::string> &lines,
                                       std::string_view group) {
    const auto header = std::find_if(lines.begin(), lines.end(), [&](const std::string &line) {
        return isHeaderOf(line, group);
    });
    if (header == lines.end()) {
        return std::nullopt;
    }
    const auto end = std::find_if(header + 1, lines.end(), isHeader);
    return GroupLines{static_cast<std::size_t>(header + 1 - lines.begin()),
                      static_cast<std::size_t>(end - lines.begin())};
}

std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += line;
    }
    return text;
}

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Reads the hexadecimal digits at the beginning of the text and removes them.
std::uint16_t takeHexNumber(std::string_view &text) {
    unsigned number = 0;
    std::size_t size = 0;
    while (size < text.size() && isHexDigit(text[size])) {
        ++size;
    }
    std::from_chars(text.data(), text.data() + size, number, 16);
    text.remove_prefix(size);
    return static_cast<std::uint16_t>(number);
}

/// Adds UTF-16 to a text in UTF-8; what is no such text is left out.
void append(std::string &text, std::vector<std::uint16_t> &characters) {
    std::string converted;
    try {
        utf8::utf16to8(characters.begin(), characters.end(), std::back_inserter(converted));
        text += converted;
    } catch (const utf8::exception &) {
    }
    characters.clear();
}

std::string hexEscape(unsigned number) {
    std::array<char, 8> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    return "\\x" + std::string(digits.data(), end);
}

} // namespace

std::optional<std::string> valueIn(std::string_view text, std::string_view group,
                                   std::string_view key) {
    const auto lines = linesOf(text);
    const GroupLines found = linesOfGroup(lines, group).value_or(GroupLines{0, 0});
    for (std::size_t i = found.begin; i < found.end; ++i) {
        if (hasKey(lines[i], key)) {
            return std::string(withoutEnd(lines[i]).substr(key.size() + 1));
        }
    }
    return std::nullopt;
}

/// Removes every line of the key, and puts the new one where the first of them was, or at the top
/// of the group.
std::string withValue(std::string_view text, std::string_view group, std::string_view key,
                      const std::optional<std::string> &value) {
    auto lines = linesOf(text);
    if (!lines.empty() && !lines.back().ends_with('\n')) {
        lines.back() += '\n';
    }
    if (!linesOfGroup(lines, group)) {
        if (!value) {
            return joined(lines);
        }
        lines.push_back("[" + std::string(group) + "]\n");
    }
    const GroupLines found = *linesOfGroup(lines, group);
    std::size_t place = found.begin;
    for (std::size_t i = found.end; i-- > found.begin;) {
        if (hasKey(lines[i], key)) {
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i));
            place = i;
        }
    }
    if (value) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(place),
                     std::string(key) + "=" + *value + "\n");
    }
    return joined(lines);
}

std::string fromGLib(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const bool isEscape = value[i] == '\\' && i + 1 < value.size();
        text += isEscape ? meaningOf(value[++i], kEscapesOfGLib) : value[i];
    }
    return text;
}

std::string toGLib(std::string_view text) {
    std::string value;
    for (const char c : text) {
        const char letter = letterFor(c, kEscapesOfGLib);
        const bool isInnerSpace = c == ' ' && !value.empty();
        value += letter && !isInnerSpace ? std::string{'\\', letter} : std::string(1, c);
    }
    return value;
}

std::string fromQt(std::string_view value) {
    if (value.size() > 1 && value.front() == '"' && value.back() == '"') {
        value = value.substr(1, value.size() - 2);
    }
    std::string text;
    std::vector<std::uint16_t> characters; // the two halves of a surrogate pair follow each other
    while (!value.empty()) {
        if (value.starts_with("\\x")) {
            value.remove_prefix(2);
            characters.push_back(takeHexNumber(value));
            continue;
        }
        append(text, characters);
        const bool isEscape = value.front() == '\\' && value.size() > 1;
        text += isEscape ? meaningOf(value[1], kEscapesOfQt) : value.front();
        value.remove_prefix(isEscape ? 2 : 1);
    }
    append(text, characters);
    return text;
}

/// A hexadecimal digit after such an escape would belong to it.
std::string toQt(std::string_view text) {
    std::vector<std::uint16_t> characters;
    try {
        utf8::utf8to16(text.begin(), text.end(), std::back_inserter(characters));
    } catch (const utf8::exception &) {
        return "\"" + escaped(text, kEscapesOfQt) + "\"";
    }
    std::string value = "\"";
    bool isAfterNumber = false;
    for (const std::uint16_t character : characters) {
        const char c = character < 0x80 ? static_cast<char>(character) : 0;
        const char letter = letterFor(c, kEscapesOfQt);
        const bool needsNumber = c == 0 || (isAfterNumber && isHexDigit(c));
        value += needsNumber ? hexEscape(character)
                 : letter    ? std::string{'\\', letter}
                             : std::string(1, c);
        isAfterNumber = needsNumber;
    }
    return value + "\"";
}

} // namespace Lumivera::KeyFileText
