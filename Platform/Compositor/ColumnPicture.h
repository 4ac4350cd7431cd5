#pragma once

#include "Platform/Compositor/CellMask.h"
#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGPixels.h"

#include <cstdint>

/// Premultiplied pixels of a part of the device, in columns as wide as a CellMask's cells, each
/// from top to bottom. What something small covers lies close together in them, and the processor
/// fetches it before it is asked for; of rows it would need a little from everywhere.
class ColumnPicture {
  public:
    /// `area` holds no negative pixels. All rows have to be set.
    explicit ColumnPicture(const DeviceRect &area);

    /// `pixels` are the row's, from the area's left on.
    void setRow(int y, const std::uint32_t *pixels);

    /// Whether every pixel that was set hides what is below it.
    bool isOpaque() const { return _isOpaque; }

    /// The pixel and those right of it, up to the end of its cell.
    const std::uint32_t *at(int x, int y) const { return &_pixels[indexOf(x, y)]; }

    /// How far a pixel lies from that a cell further right.
    std::ptrdiff_t columnStride() const { return std::ptrdiff_t{rows()} * CellMask::kCell; }

  private:
    // An odd number: the same row of all columns must not share one place in the cache.
    int rows() const { return _area.height() | 1; }

    std::size_t indexOf(int x, int y) const {
        const int column = x / CellMask::kCell - _area.left / CellMask::kCell;
        return (static_cast<std::size_t>(column) * static_cast<std::size_t>(rows()) +
                static_cast<std::size_t>(y - _area.top)) *
                   CellMask::kCell +
               static_cast<std::size_t>(x % CellMask::kCell);
    }

    DeviceRect _area;
    CGPixels _pixels;
    bool _isOpaque = true;
};
