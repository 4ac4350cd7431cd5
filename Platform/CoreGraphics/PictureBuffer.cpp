#include "Platform/CoreGraphics/PictureBuffer.h"

#include "Platform/CoreGraphics/Premultiplication.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "alpha is the highest byte of a word");

/// Loops over so many pixels, known beforehand, become wide instructions.
constexpr std::size_t kBlock = 64;
using Block = std::array<std::uint32_t, kBlock>;

constexpr std::uint32_t kAlpha = 0xff000000;

bool isOpaque(const Block &words) {
    std::uint32_t common = kAlpha;
    for (const std::uint32_t word : words) {
        common &= word;
    }
    return common == kAlpha;
}

void swapRedAndBlue(Block &words) {
    for (std::uint32_t &word : words) {
        word = (word & 0xff00ff00) | (word & 0xff) << 16 | (word >> 16 & 0xff);
    }
}

/// Of at most a block of pixels; the rest of the block means nothing.
Block premultiplied(const std::uint8_t *bytes, std::size_t count) {
    Block words;
    words.fill(kAlpha);
    std::memcpy(words.data(), bytes, count * 4);
    if (isOpaque(words)) {
        swapRedAndBlue(words);
    } else {
        for (std::size_t i = 0; i < count; ++i, bytes += 4) {
            words[i] = premultipliedPixel(bytes[0], bytes[1], bytes[2], bytes[3]);
        }
    }
    return words;
}

} // namespace

PictureBuffer::PictureBuffer(std::uint64_t width, std::uint64_t height, std::uint64_t mostPixels)
    : _width(width), _height(height) {
    if (CGImage::isSizeSupported(width, height) && width * height <= mostPixels) {
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

Retained<CGImage> PictureBuffer::premultipliedImage() {
    std::uint8_t *const end = bytes() + size();
    for (std::uint8_t *block = bytes(); block != end;) {
        const std::size_t count = std::min(static_cast<std::size_t>(end - block) / 4, kBlock);
        const Block words = premultiplied(block, count);
        std::memcpy(block, words.data(), count * 4);
        block += count * 4;
    }
    return CGImage::imageWithPixels(_width, _height, std::move(_pixels));
}
