#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <memory>
#include <span>
#include <vector>

namespace Lumivera {

/// A transparent bitmap for drawing panels and lines, in points. Any thread, one at a time.
class GalleryCanvas {
  public:
    /// A canvas of an empty size, or one beyond the limits of CGImage, stays empty.
    GalleryCanvas(CGSize size, CGFloat density);
    ~GalleryCanvas();

    GalleryCanvas(const GalleryCanvas &) = delete;
    GalleryCanvas &operator=(const GalleryCanvas &) = delete;

    /// Fills a rectangle with round corners with a vertical gradient, or draws a line inside its
    /// edge.
    void fillPanel(const CGRect &area, CGFloat radius, const CGColor &top, const CGColor &bottom);
    void strokePanel(const CGRect &area, CGFloat radius, CGFloat lineWidth, const CGColor &color);

    /// Draws lines through points, with round caps and joins; a single point is a dot.
    using Line = std::vector<CGPoint>;
    void strokeLines(std::span<const Line> lines, CGFloat lineWidth, const CGColor &color);

    /// The bitmap; null for an empty canvas.
    Retained<CGImage> picture() const;

  private:
    class Drawing;

    std::unique_ptr<Drawing> _drawing;
};

} // namespace Lumivera
