#pragma once

#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <span>

/// Decodes a PNG, JPEG or WebP file held in memory, told apart by their first bytes, never by a
/// name. The size is read and held against CGImage's bounds before memory for pixels is taken.
/// Null for anything else: another format, truncated or damaged data, too large a size. Any thread.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes);
