#pragma once

#include "Platform/CoreGraphics/CGAffineTransform.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// What bitmap contexts draw with cairo: the coverage of paths, and stretched pictures.

struct _cairo;
struct _cairo_surface;

struct CairoDeleter {
    void operator()(_cairo *drawing) const;
    void operator()(_cairo_surface *surface) const;
};

/// Owned cairo objects, declared without cairo's header.
using CairoDrawing = std::unique_ptr<_cairo, CairoDeleter>;
using CairoSurface = std::unique_ptr<_cairo_surface, CairoDeleter>;

/// An outline under construction, over a bitmap of a given size. Each point is placed by the
/// transform given with it, and later transforms do not move it. A NaN makes the whole path cover
/// nothing.
class CGPath {
  public:
    CGPath(std::size_t width, std::size_t height);

    void moveToPoint(CGPoint point, const CGAffineTransform &t);
    void addRect(const CGRect &rect, const CGAffineTransform &t);

    /// Rounds the corner that the lines from the present point to `corner` and on to `end` make:
    /// adds a line to, and an arc of the radius along, the corner. When the points are in one line
    /// or the radius is 0, adds the line to the corner alone.
    void addArcToPoint(CGPoint corner, CGPoint end, CGFloat radius, const CGAffineTransform &t);
    void close();

    /// How much of each pixel lies inside, 0 to 255, rows from the top; empties the path.
    std::vector<std::uint8_t> takeCoverage();

  private:
    bool place(CGPoint &point, const CGAffineTransform &t);

    std::size_t _width;
    std::size_t _height;
    CairoSurface _surface;
    CairoDrawing _drawing;
    bool _isValid = true;
};

/// The part of a picture that lies over a bitmap, under a transform from the picture's pixels (rows
/// from the top) to the bitmap's. Moved by whole pixels it is the picture's own memory, otherwise a
/// smoothly stretched copy.
class PlacedPicture {
  public:
    PlacedPicture(const CGImage &image, const CGAffineTransform &toBitmap, std::size_t width,
                  std::size_t height);

    /// The premultiplied pixels in row `y` of the bitmap; the first one lies at `x`, which this
    /// sets. May be empty.
    std::span<const std::uint32_t> row(std::size_t y, std::size_t &x) const;

    /// True when the picture has a pixel for every one of the bitmap.
    bool coversAll() const { return _coversAll; }
    bool coversOpaquely() const { return _coversAll && _image->isOpaque(); }

    /// The memory of the stretched copy; 0 where the picture's own is used.
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
