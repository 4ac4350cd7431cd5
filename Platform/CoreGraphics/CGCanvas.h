#pragma once

#include "Platform/CoreGraphics/CGColor.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

/// How new colours meet those that are there; the numbers are the platform's own.
enum class CGBlendMode { Normal = 0, Multiply = 1, Overlay = 3 };

/// The pixels of a bitmap context while it is drawn into: red, green, blue and alpha of 16 bits,
/// premultiplied, so that a few operations on top of one another still round to the right 8 bits.
/// Clear at first. Coverage is 255 where a row is painted and 0 where it is not.
class CGCanvas {
  public:
    /// Throws std::bad_alloc.
    CGCanvas(std::size_t width, std::size_t height);

    std::size_t width() const noexcept { return _width; }
    std::size_t height() const noexcept { return _height; }

    /// Makes every pixel opaque black.
    void fillBlack();

    /// Blends premultiplied 0xAARRGGBB pixels, starting at (x, y), with the part of the row that
    /// they cover. `coverage` has one value a pixel, or none at all for full coverage.
    void blendRow(CGBlendMode mode, std::size_t x, std::size_t y,
                  std::span<const std::uint32_t> pixels, std::span<const std::uint8_t> coverage);

    /// The same with one colour for the whole run of `count` pixels.
    void fillRow(CGBlendMode mode, std::size_t x, std::size_t y, std::size_t count,
                 const CGColor &color, std::span<const std::uint8_t> coverage);

    /// Rounded to 8 bits: premultiplied 0xAARRGGBB.
    std::vector<std::uint32_t> pixels() const;

    /// Rounded to 8 bits of grey, alpha left aside: 0.2126 red + 0.7152 green + 0.0722 blue, so
    /// that neutral greys map to themselves.
    std::vector<std::uint8_t> greySamples() const;

  private:
    struct Free {
        void operator()(void *memory) const { std::free(memory); }
    };

    std::uint64_t *at(std::size_t x, std::size_t y) noexcept {
        return _pixels.get() + y * _width + x;
    }

    std::size_t _width;
    std::size_t _height;
    /// 0xAAAARRRRGGGGBBBB. Memory that the system clears when it is first touched.
    std::unique_ptr<std::uint64_t[], Free> _pixels;
};
