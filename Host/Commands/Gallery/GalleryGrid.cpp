#include "Host/Commands/Gallery/GalleryGrid.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr CGFloat kGapShare = 0.016;
constexpr CGFloat kLargestGap = 16;

CGFloat gapPixels(const PictureSize &size) {
    const CGFloat shorter = std::min(size.size.width, size.size.height);
    return std::round(std::min(shorter * kGapShare, kLargestGap) * size.density);
}

/// What is left for each of them beside the gaps, which stand at both ends too.
CGFloat share(CGFloat length, NSUInteger count, CGFloat gap) {
    const auto parts = static_cast<CGFloat>(count);
    return std::max<CGFloat>(std::floor((length - gap * (parts + 1)) / parts), 0);
}

CGFloat start(CGFloat length, NSUInteger count, CGFloat part, CGFloat gap) {
    const auto parts = static_cast<CGFloat>(count);
    return std::max<CGFloat>(std::floor((length - parts * part - (parts - 1) * gap) / 2), 0);
}

} // namespace

GalleryGrid::GalleryGrid(const PictureSize &size, NSUInteger count, CGFloat shape,
                         NSUInteger columns)
    : _pixels{static_cast<CGFloat>(size.pixelWidth()), static_cast<CGFloat>(size.pixelHeight())},
      _density(size.density), _count(count), _gap(gapPixels(size)),
      _columns(columns > 0 ? std::min(columns, count) : bestColumns(shape)) {}

/// Of grids with cells as large as one another the one with the fewest places left over.
NSUInteger GalleryGrid::bestColumns(CGFloat shape) const {
    NSUInteger best = 1;
    CGFloat bestHeight = -1;
    NSUInteger bestRest = 0;
    for (NSUInteger columns = 1; columns <= _count; ++columns) {
        const CGSize cell = cellPixels(columns);
        const CGFloat height = std::min(cell.width / shape, cell.height);
        const NSUInteger rest = (columns - _count % columns) % columns;
        if (height > bestHeight || (height == bestHeight && rest < bestRest)) {
            best = columns;
            bestHeight = height;
            bestRest = rest;
        }
    }
    return best;
}

CGSize GalleryGrid::cellPixels(NSUInteger columns) const {
    const NSUInteger rows = (_count + columns - 1) / columns;
    return {share(_pixels.width, columns, _gap), share(_pixels.height, rows, _gap)};
}

CGRect GalleryGrid::cell(NSUInteger index) const {
    const NSUInteger row = index / _columns;
    const NSUInteger inRow = std::min(_columns, _count - row * _columns);
    const CGSize size = cellPixels(_columns);
    const CGFloat left = start(_pixels.width, inRow, size.width, _gap) +
                         static_cast<CGFloat>(index % _columns) * (size.width + _gap);
    const CGFloat top = start(_pixels.height, rows(), size.height, _gap) +
                        static_cast<CGFloat>(row) * (size.height + _gap);
    return {{left / _density, top / _density}, {size.width / _density, size.height / _density}};
}

std::optional<NSUInteger> GalleryGrid::cellAt(CGPoint point) const {
    for (NSUInteger index = 0; index < _count; ++index) {
        if (CGRectContainsPoint(cell(index), point)) {
            return index;
        }
    }
    return std::nullopt;
}

} // namespace Lumivera
