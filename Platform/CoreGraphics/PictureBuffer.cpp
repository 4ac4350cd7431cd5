#include "Platform/CoreGraphics/PictureBuffer.h"

#include "Platform/CoreGraphics/Premultiplication.h"

#include <new>
#include <vector>

PictureBuffer::PictureBuffer(std::uint64_t width, std::uint64_t height)
    : _width(width), _height(height) {
    if (CGImage::isSizeSupported(width, height)) {
        _bytes.reset(new (std::nothrow) std::uint8_t[size()]);
    }
}

void PictureBuffer::convertFromInks(bool inverted) {
    const std::uint8_t flip = inverted ? 0 : 0xff;
    std::uint8_t *const end = _bytes.get() + size();
    for (std::uint8_t *pixel = _bytes.get(); pixel != end; pixel += 4) {
        const std::uint32_t light = pixel[3] ^ flip;
        for (int i = 0; i < 3; ++i) {
            pixel[i] = static_cast<std::uint8_t>(premultipliedComponent(pixel[i] ^ flip, light));
        }
        pixel[3] = 0xff;
    }
}

Retained<CGImage> PictureBuffer::premultipliedImage() const {
    std::vector<std::uint32_t> pixels;
    pixels.reserve(_width * _height);
    const std::uint8_t *const end = _bytes.get() + size();
    for (const std::uint8_t *pixel = _bytes.get(); pixel != end; pixel += 4) {
        pixels.push_back(premultipliedPixel(pixel[0], pixel[1], pixel[2], pixel[3]));
    }
    return CGImage::imageWithPixels(_width, _height, std::move(pixels));
}
