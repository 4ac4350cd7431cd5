#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>

namespace {

/// The compiler turns a loop over so many words into wide instructions.
constexpr std::size_t kBlock = 64;

constexpr std::uint32_t kAlpha = 0xff000000;

} // namespace

bool areOpaque(std::span<const std::uint32_t> pixels) {
    while (pixels.size() >= kBlock) {
        std::uint32_t common = kAlpha;
        for (std::size_t i = 0; i < kBlock; ++i) {
            common &= pixels[i];
        }
        if (common != kAlpha) {
            return false;
        }
        pixels = pixels.subspan(kBlock);
    }
    return std::all_of(pixels.begin(), pixels.end(),
                       [](std::uint32_t pixel) { return pixel >= kAlpha; });
}

Retained<CGImage> CGImage::imageWithPixels(NSUInteger width, NSUInteger height,
                                           PixelBuffer pixels) {
    if (!isSizeSupported(width, height) || pixels.size() != width * height) {
        return nullptr;
    }
    return Retained<CGImage>::adopt(new CGImage(width, height, std::move(pixels)));
}

bool CGImage::isSizeSupported(std::uint64_t width, std::uint64_t height) noexcept {
    return width > 0 && height > 0 && width <= kMaxSide && height <= kMaxSide &&
           width * height <= kMaxBytes / sizeof(std::uint32_t);
}

CGImage::CGImage(NSUInteger width, NSUInteger height, PixelBuffer pixels)
    : _width(width), _height(height), _pixels(std::move(pixels)), _opaque(areOpaque(_pixels)) {}
