#pragma once

#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <span>

/// Decodes a PNG, JPEG or WebP file held in memory, told apart by their first bytes, never by a
/// name. The size is read and held against CGImage's bounds before memory for pixels is taken.
/// The picture comes out upright, as a camera's Exif data say, and in sRGB: colours that the file
/// describes otherwise, by a profile or by gamma and chromaticities, are converted. A description
/// that is damaged or absurd is left aside.
/// Null for anything else: another format, an animated WebP, truncated or damaged data, too large a
/// size, no memory. Any thread.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes);

/// The same, null also for a picture of more pixels than that: it is refused by its size alone.
PLATFORM_EXPORT Retained<CGImage> CGImageCreateWithData(std::span<const std::uint8_t> bytes,
                                                        std::uint64_t mostPixels);
