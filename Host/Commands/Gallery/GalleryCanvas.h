#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <memory>
#include <span>
#include <vector>

namespace Lumivera {

/// A clear picture to draw round things on, in points. Any thread, one at a time.
class GalleryCanvas {
  public:
    /// A size that is beyond CGImage's bounds, or empty, makes a canvas that stays empty.
    GalleryCanvas(CGSize size, CGFloat density);
    ~GalleryCanvas();

    GalleryCanvas(const GalleryCanvas &) = delete;
    GalleryCanvas &operator=(const GalleryCanvas &) = delete;

    /// A rectangle with round corners, its colour fading from the top to the bottom, and a line
    /// just inside its edge.
    void fillPanel(const CGRect &area, CGFloat radius, const CGColor &top, const CGColor &bottom);
    void strokePanel(const CGRect &area, CGFloat radius, CGFloat lineWidth, const CGColor &color);

    /// A line through the points, with round ends and corners; a single point is a dot.
    using Line = std::vector<CGPoint>;
    void strokeLines(std::span<const Line> lines, CGFloat lineWidth, const CGColor &color);

    /// What was drawn; null for an empty canvas.
    Retained<CGImage> picture() const;

  private:
    class Drawing;

    std::unique_ptr<Drawing> _drawing;
};

} // namespace Lumivera
