#pragma once

#include "Platform/CoreGraphics/CGAffineTransform.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/CoreGraphics/CairoHandles.h"

#include <cstddef>
#include <span>

/// A picture under a transform from its pixels (rows from the top) to those of a bitmap, as far as
/// it reaches them. Pixel on pixel it is the picture itself, otherwise a smooth stretched copy.
class PlacedPicture {
  public:
    PlacedPicture(const CGImage &image, const CGAffineTransform &toBitmap, std::size_t width,
                  std::size_t height);

    /// Premultiplied pixels of the row, from `x` on, which it sets. May be empty.
    std::span<const std::uint32_t> row(std::size_t y, std::size_t &x) const;

    /// True when every pixel of the bitmap has one of the picture's over it.
    bool coversAll() const { return _coversAll; }
    bool coversOpaquely() const { return _coversAll && _image->isOpaque(); }

    /// Of the stretched copy; 0 where the picture itself serves.
    std::size_t ownBytes() const { return _stretched ? _stride * _height * 4 : 0; }

  private:
    void place(const CGImage &image, long x, long y);
    void stretch(const CGImage &image, const CGAffineTransform &toBitmap);

    std::size_t _width;
    std::size_t _height;
    Retained<const CGImage> _image;
    CairoSurface _stretched;
    const std::uint32_t *_first = nullptr;
    std::size_t _stride = 0;
    std::size_t _left = 0, _right = 0, _top = 0, _bottom = 0;
    bool _coversAll = false;
};
