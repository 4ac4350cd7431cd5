#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The text of files with groups of keys and values, which several file managers keep:
///
///     [Group]
///     key=value
namespace Lumivera::KeyFileText {

/// The value as it stands in the text; nothing when there is no such key.
std::optional<std::string> valueIn(std::string_view text, std::string_view group,
                                   std::string_view key);

/// The text with this value, or without the key. Everything else stays as it is. A missing group is
/// appended.
std::string withValue(std::string_view text, std::string_view group, std::string_view key,
                      const std::optional<std::string> &value);

/// A value in the form of GLib, whose escapes are \s, \n, \t, \r and \\; UTF-8.
std::string fromGLib(std::string_view value);
std::string toGLib(std::string_view text);

/// A value in the form of Qt: in quotes or not, with escapes as in C. A character beyond ASCII may
/// stand for itself or be \x and its number in UTF-16, of any number of hexadecimal digits.
std::string fromQt(std::string_view value);
std::string toQt(std::string_view text);

} // namespace Lumivera::KeyFileText
