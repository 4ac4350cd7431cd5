#pragma once

#include "Host/Wallpapers/PictureSize.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>

namespace Lumivera {

/// Places equal cells in rows and columns, with gaps, so that they fill a picture. Cells begin and
/// end on whole pixels; in a picture too small for them they are empty. The last row, when it is
/// not full, stands in the middle.
class GalleryGrid {
  public:
    /// `shape` is how wide a cell would best be for its height. With 0 columns there are as many as
    /// give the largest cells of that shape.
    GalleryGrid(const PictureSize &size, NSUInteger count, CGFloat shape, NSUInteger columns = 0);

    NSUInteger columns() const { return _columns; }
    NSUInteger rows() const { return (_count + _columns - 1) / _columns; }

    /// In points.
    CGRect cell(NSUInteger index) const;

    /// Nothing between cells and outside.
    std::optional<NSUInteger> cellAt(CGPoint point) const;

  private:
    NSUInteger bestColumns(CGFloat shape) const;
    CGSize cellPixels(NSUInteger columns) const;

    const CGSize _pixels;
    const CGFloat _density;
    const NSUInteger _count;
    const CGFloat _gap;
    const NSUInteger _columns;
};

} // namespace Lumivera
