#pragma once

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/CoreGraphics/ColorConversion.h"
#include "Platform/CoreGraphics/PictureOrientation.h"

#include <cstddef>
#include <cstdint>

/// Where a decoder puts its pixels: red, green, blue, alpha, one byte each, not premultiplied, rows
/// from the top. The memory is not cleared, so that a damaged file that claims a large picture
/// costs only the rows that it really holds.
class PictureBuffer {
  public:
    /// Empty when a picture of that size is not supported or has more pixels than that; throws
    /// std::bad_alloc when there is no memory.
    PictureBuffer(std::uint64_t width, std::uint64_t height, std::uint64_t mostPixels);

    explicit operator bool() const noexcept { return !_pixels.empty(); }

    std::size_t width() const noexcept { return _width; }
    std::size_t height() const noexcept { return _height; }
    std::size_t bytesPerRow() const noexcept { return _width * 4; }
    std::size_t size() const noexcept { return bytesPerRow() * _height; }
    std::uint8_t *row(std::size_t y) noexcept { return bytes() + y * bytesPerRow(); }

    /// Reads the four bytes of each pixel as cyan, magenta, yellow, key and makes colours of them.
    /// `inverted`: 255 is no ink, otherwise 0 is.
    void convertFromInks(bool inverted);

    /// Reads the pixels as what the conversion is from and makes colours of them.
    void convertColors(const ColorConversion &conversion);

    /// The finished picture, upright, which takes over the memory; only one of which rows become
    /// columns needs as much again, and throws std::bad_alloc without. Every pixel must have been
    /// written.
    Retained<CGImage> premultipliedImage(const PictureOrientation &orientation);

  private:
    void premultiply();
    void turnUpright(const PictureOrientation &orientation);
    void swapRowsAndColumns();

    std::uint8_t *bytes() noexcept { return reinterpret_cast<std::uint8_t *>(_pixels.data()); }

    std::size_t _width;
    std::size_t _height;
    CGPixels _pixels;
};
