#pragma once

#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <span>

/// Decodes a PNG, JPEG or WebP file held in memory, told apart by their first bytes, never by a
/// name. The size is read and held against CGImage's bounds before memory for pixels is taken.
/// Values are taken as they are stored: profiles, gamma and a camera's orientation are left aside.
/// Null for anything else: another format, an animated WebP, truncated or damaged data, too large a
/// size, no memory. Any thread.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes);

/// The same, null also for a picture of more pixels than that: it is refused by its size alone.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes,
                                                        std::uint64_t mostPixels);
