#pragma once

#include "Platform/CoreGraphics/CGAffineTransform.h"
#include "Platform/CoreGraphics/CairoHandles.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// An outline under construction, over a bitmap of a given size. Its points are placed by the
/// transform that comes with them, and do not move afterwards. A point that is no number spoils the
/// path: it then covers nothing.
class CGPath {
  public:
    CGPath(std::size_t width, std::size_t height);

    void moveToPoint(CGPoint point, const CGAffineTransform &t);
    void addRect(const CGRect &rect, const CGAffineTransform &t);

    /// A line to, and an arc of the radius along, `corner` on the way to `end`. Points in one line,
    /// or a radius of 0, give the line to the corner.
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
