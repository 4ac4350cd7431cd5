#pragma once

#include "Platform/CoreGraphics/CGImage.h"

#include <cstdint>
#include <span>

/// One decoder a format. Each takes a whole file of its format and gives null when the file is
/// truncated, damaged, of more pixels than asked for or beyond CGImage's bounds. Any thread.

/// Every colour type, bit depth and interlacing; of an animation the default picture.
Retained<CGImage> decodePNG(std::span<const std::uint8_t> file, std::uint64_t mostPixels);

/// Greys, colours and inks, baseline and progressive. What the decoder would only warn of counts as
/// damage, for what it makes up shows as grey bars.
Retained<CGImage> decodeJPEG(std::span<const std::uint8_t> file, std::uint64_t mostPixels);

/// Lossy and lossless still pictures; an animation is no picture here.
Retained<CGImage> decodeWebP(std::span<const std::uint8_t> file, std::uint64_t mostPixels);
