#pragma once

#include "Platform/UIKit/UIImage.h"

#include <cstdint>
#include <string>

/// A picture of one colour (0xAARRGGBB) at scale 1, without a file.
Retained<UIImage> pictureOfSize(unsigned width, unsigned height, std::uint32_t color = 0xff808080);

/// The same picture as the bytes of a PNG file.
std::string pngOfSize(unsigned width, unsigned height, std::uint32_t color = 0xff808080);
