#pragma once

#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <vector>

/// A PNG file, 8 bits a component, of premultiplied 0xAARRGGBB pixels whose row y starts at
/// pixels + y × stride; without alpha when every pixel is opaque. Decoding it gives the very same
/// pixels, and the same pixels always give the same bytes. The level goes from 0 (not compressed)
/// over 1 (fast, for sequences) to 9 (small); others count as the nearest. Empty when a bitmap of
/// that size is beyond CGImage's bounds, when the stride is less than the width, or when there is
/// no memory. Any thread.
PLATFORM_EXPORT std::vector<std::uint8_t> CGImageWritePNG(const std::uint32_t *pixels,
                                                          NSUInteger width, NSUInteger height,
                                                          NSUInteger stride, int compressionLevel);
