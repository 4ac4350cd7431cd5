#pragma once

#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

#include <memory>

namespace Lumivera {

/// A transparent bitmap for drawing panels, in points. Any thread, one at a time.
class PanelCanvas {
  public:
    /// A canvas of an empty size, or one beyond the limits of CGImage, stays empty.
    PanelCanvas(CGSize size, CGFloat density);
    ~PanelCanvas();

    PanelCanvas(const PanelCanvas &) = delete;
    PanelCanvas &operator=(const PanelCanvas &) = delete;

    /// Fills a rectangle with round corners with a vertical gradient, or draws a line inside its
    /// edge.
    void fillPanel(const CGRect &area, CGFloat radius, const CGColor &top, const CGColor &bottom);
    void strokePanel(const CGRect &area, CGFloat radius, CGFloat lineWidth, const CGColor &color);

    /// The bitmap; null for an empty canvas.
    Retained<CGImage> picture() const;

  private:
    class Drawing;

    std::unique_ptr<Drawing> _drawing;
};

} // namespace Lumivera
