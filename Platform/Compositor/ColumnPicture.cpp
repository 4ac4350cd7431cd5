#include "Platform/Compositor/ColumnPicture.h"

#include <algorithm>

ColumnPicture::ColumnPicture(const DeviceRect &area) : _area(area) {
    if (!area.isEmpty()) {
        const int columns = (area.right - 1) / CellMask::kCell - area.left / CellMask::kCell + 1;
        _pixels.resize(static_cast<std::size_t>(columns) * CellMask::kCell *
                       static_cast<std::size_t>(rows()));
    }
}

void ColumnPicture::setRow(int y, const std::uint32_t *pixels) {
    std::uint32_t common = ~std::uint32_t{0};
    for (int i = 0; i < _area.width(); i++) {
        common &= pixels[i];
    }
    _isOpaque = _isOpaque && common >> 24 == 255;
    for (int x = _area.left; x < _area.right;) {
        const int end = std::min(CellMask::endOfCell(x), _area.right);
        std::copy_n(pixels, end - x, &_pixels[indexOf(x, y)]);
        pixels += end - x;
        x = end;
    }
}
