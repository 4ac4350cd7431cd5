#pragma once

#include "Platform/Foundation/Retained.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// A text that never changes, as an object: for texts whose identity matters or that may be
/// missing. Any thread.
class NSString final : public NSObject {
  public:
    static Retained<NSString> stringWithUTF8String(std::string text) {
        return makeRetained<NSString>(std::move(text));
    }

    /// In UTF-8.
    const std::string &text() const noexcept { return _text; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    explicit NSString(std::string text) : _text(std::move(text)) {}
    ~NSString() override = default;

    const std::string _text;
};

// Unicode text in its encodings. The results do not depend on the locale. Any thread.

/// True for well-formed UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF. The empty
/// text is valid; a zero byte is a character.
PLATFORM_EXPORT bool isValidUTF8(std::string_view text);

/// The length of UTF-8 text in UTF-16 code units: 2 for a character beyond U+FFFF, 1 for any other.
/// Each byte that belongs to no valid character counts 1.
PLATFORM_EXPORT std::size_t utf16Length(std::string_view text);

/// True for characters that a terminal obeys or that change how the text around them is shown: the
/// C0 and C1 controls, delete, the line and paragraph separators, and the controls of writing
/// direction.
PLATFORM_EXPORT bool isControlCharacter(char32_t character);

/// The text with each control character and each byte that is not UTF-8 written as an escape
/// sequence, such as \n, \x1b or \u202e, so that it is safe to print on a terminal and in a log.
PLATFORM_EXPORT std::string withoutControls(std::string_view text);

/// Big-endian UTF-16 without a byte order mark, as UTF-8. Nothing when the size is odd or a
/// surrogate is unpaired.
PLATFORM_EXPORT std::optional<std::string>
utf8FromBigEndianUTF16(std::span<const std::uint8_t> bytes);
