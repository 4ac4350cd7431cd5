#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// Unicode text in its encodings. No locale has a say. Any thread.

/// True for well-formed UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF. The empty
/// text is valid, a zero byte is a character.
PLATFORM_EXPORT bool isValidUTF8(std::string_view text);

/// The length that UTF-8 text has in UTF-16 code units: 2 for a character beyond U+FFFF, 1 for any
/// other. Each byte that belongs to no valid character counts 1.
PLATFORM_EXPORT std::size_t utf16Length(std::string_view text);

/// The text with each control character, the C1 controls in UTF-8 included, shown as "?": fit for a
/// terminal.
PLATFORM_EXPORT std::string withoutControls(std::string_view text);

/// UTF-16 with the high byte first, without a byte order mark, as UTF-8. Nothing when the size is
/// odd or a surrogate stands alone.
PLATFORM_EXPORT std::optional<std::string>
utf8FromBigEndianUTF16(std::span<const std::uint8_t> bytes);
