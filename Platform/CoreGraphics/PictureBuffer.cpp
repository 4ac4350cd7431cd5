#include "Platform/CoreGraphics/PictureDecoders.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "alpha is the highest byte of a word");

/// The compiler turns a loop over so many words into wide instructions.
constexpr std::size_t kBlock = 64;
using Block = std::array<std::uint32_t, kBlock>;

void swapRedAndBlue(Block &words) {
    for (std::uint32_t &word : words) {
        word = (word & 0xff00ff00) | (word & 0xff) << 16 | (word >> 16 & 0xff);
    }
}

/// Premultiplied words of at most a block of pixels; the rest of the result is undefined.
Block premultiplied(const std::uint8_t *bytes, std::size_t count) {
    Block words;
    words.fill(0xff000000);
    std::memcpy(words.data(), bytes, count * 4);
    if (areOpaque(words)) {
        swapRedAndBlue(words);
    } else {
        for (std::size_t i = 0; i < count; ++i, bytes += 4) {
            words[i] = premultipliedPixel(bytes[0], bytes[1], bytes[2], bytes[3]);
        }
    }
    return words;
}

} // namespace

PictureBuffer::PictureBuffer(std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels)
    : _width(width), _height(height) {
    if (CGImage::isSizeSupported(width, height) && width * height <= maxPixels) {
        _pixels.resize(width * height);
    }
}

void PictureBuffer::convertFromInks(bool inverted) {
    const std::uint8_t flip = inverted ? 0 : 0xff;
    std::uint8_t *const end = bytes() + size();
    for (std::uint8_t *pixel = bytes(); pixel != end; pixel += 4) {
        const std::uint32_t light = pixel[3] ^ flip;
        for (int i = 0; i < 3; ++i) {
            pixel[i] = static_cast<std::uint8_t>(premultipliedComponent(pixel[i] ^ flip, light));
        }
        pixel[3] = 0xff;
    }
}

void PictureBuffer::convertColors(const ColorConversion &conversion) {
    for (std::size_t y = 0; y < _height; ++y) {
        conversion.convert(row(y), row(y), _width);
    }
}

Retained<CGImage> PictureBuffer::premultipliedImage(const PictureOrientation &orientation) {
    premultiply();
    turnUpright(orientation);
    return CGImage::imageWithPixels(_width, _height, std::move(_pixels));
}

void PictureBuffer::premultiply() {
    std::uint8_t *const end = bytes() + size();
    for (std::uint8_t *block = bytes(); block != end;) {
        const std::size_t count = std::min(static_cast<std::size_t>(end - block) / 4, kBlock);
        const Block words = premultiplied(block, count);
        std::memcpy(block, words.data(), count * 4);
        block += count * 4;
    }
}

void PictureBuffer::turnUpright(const PictureOrientation &orientation) {
    if (orientation.mirrorsX) {
        for (std::size_t y = 0; y < _height; ++y) {
            std::uint32_t *const row = &_pixels[y * _width];
            std::reverse(row, row + _width);
        }
    }
    if (orientation.mirrorsY) {
        for (std::size_t y = 0; y < _height / 2; ++y) {
            std::uint32_t *const row = &_pixels[y * _width];
            std::swap_ranges(row, row + _width, &_pixels[(_height - 1 - y) * _width]);
        }
    }
    if (orientation.areColumns) {
        swapRowsAndColumns();
    }
}

/// Works by squares that fit into the processor's cache, because columns are far apart in memory.
void PictureBuffer::swapRowsAndColumns() {
    constexpr std::size_t kSide = 32;
    PixelBuffer turned(_pixels.size());
    for (std::size_t top = 0; top < _height; top += kSide) {
        for (std::size_t left = 0; left < _width; left += kSide) {
            const std::size_t bottom = std::min(top + kSide, _height);
            const std::size_t right = std::min(left + kSide, _width);
            for (std::size_t x = left; x < right; ++x) {
                for (std::size_t y = top; y < bottom; ++y) {
                    turned[x * _height + y] = _pixels[y * _width + x];
                }
            }
        }
    }
    std::swap(_width, _height);
    _pixels = std::move(turned);
}
