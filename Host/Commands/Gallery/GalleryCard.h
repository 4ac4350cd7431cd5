#pragma once

#include "Host/Commands/Gallery/Exhibit.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/Retained.h"

namespace Lumivera {

class GalleryCanvas;

/// The still picture of a cell: a panel with the exhibit's label, and a mark at the flower's
/// resting place on each stage. Lengths in points. A card that is too small for readable letters
/// has none.
class GalleryCard {
  public:
    GalleryCard(const Exhibit &exhibit, CGSize size, CGFloat density, NSUInteger stageCount);

    /// The square of a stage.
    CGRect stageFrame(NSUInteger number) const;

    /// The heights of the label's letters; 0 when they are left out.
    CGFloat titleSize() const { return _title; }
    CGFloat captionSize() const { return _caption; }

    /// Null for an empty card.
    Retained<CGImage> draw() const;

  private:
    bool isStrip() const { return _stageCount > 1; }
    CGFloat wantedTitleSize() const;
    CGFloat readableSize(const std::u32string &text, CGFloat size) const;
    CGFloat labelHeight() const;
    void writeLabel(GalleryCanvas &canvas) const;
    void writeStripLabel(GalleryCanvas &canvas) const;
    void markRestingPlace(GalleryCanvas &canvas, const CGRect &stage) const;

    const Exhibit &_exhibit;
    const CGSize _size;
    const CGFloat _density;
    const NSUInteger _stageCount;
    const CGFloat _title;
    const CGFloat _caption;
};

} // namespace Lumivera
