#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>

Retained<CGImage> CGImage::imageWithPixels(NSUInteger width, NSUInteger height,
                                           std::vector<std::uint32_t> pixels) {
    if (!isSizeSupported(width, height) || pixels.size() != width * height) {
        return nullptr;
    }
    return Retained<CGImage>::adopt(new CGImage(width, height, std::move(pixels)));
}

bool CGImage::isSizeSupported(std::uint64_t width, std::uint64_t height) noexcept {
    return width > 0 && height > 0 && width <= kMaximumSide && height <= kMaximumSide &&
           width * height <= kMaximumBytes / sizeof(std::uint32_t);
}

CGImage::CGImage(NSUInteger width, NSUInteger height, std::vector<std::uint32_t> pixels)
    : _width(width), _height(height), _pixels(std::move(pixels)),
      _opaque(std::all_of(_pixels.begin(), _pixels.end(),
                          [](std::uint32_t pixel) { return pixel >> 24 == 0xff; })) {}
