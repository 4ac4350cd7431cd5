#include "Platform/Compositor/ChangeHistory.h"

namespace {

// Rectangles of changes have sides of multiples of these.
constexpr int kTileWidth = 128;
constexpr int kTileHeight = 64;

// Of what a whole picture costs, a picture by parts of the same size does.
constexpr double kCostOfParts = 1.3;

} // namespace

CellMask &ChangeHistory::begin(const DeviceRect &device) {
    _latest = (_latest + 1) % kRemembered;
    _device = device;
    latest().isAll = false;
    latest().cells.reset(device);
    return latest().cells;
}

const CellMask *ChangeHistory::since(unsigned age) {
    if (age == 0 || age > kRemembered) {
        return nullptr;
    }
    for (unsigned i = 0; i < age; i++) {
        if (_changes[(_latest + kRemembered - i) % kRemembered].isAll) {
            return nullptr;
        }
    }
    const CellMask *result = &latest().cells;
    if (age > 1) {
        _sum.reset(_device);
        for (unsigned i = 0; i < age; i++) {
            _sum.add(_changes[(_latest + kRemembered - i) % kRemembered].cells);
        }
        result = &_sum;
    }
    const bool paysOff = static_cast<double>(result->pixelCount()) * kCostOfParts <
                         static_cast<double>(_device.area());
    return paysOff ? result : nullptr;
}

const std::vector<DeviceRect> &ChangeHistory::latestRects() {
    _rects.clear();
    if (latest().isAll) {
        _rects.push_back(_device);
        return _rects;
    }
    _rects.reserve(static_cast<std::size_t>((_device.right / kTileWidth + 1) *
                                            (_device.bottom / kTileHeight + 1)));
    for (int top = 0; top < _device.bottom; top += kTileHeight) {
        addRectsOfBand(top);
    }
    return _rects;
}

// Those of one row of tiles, joined with what ends above them and is as wide.
void ChangeHistory::addRectsOfBand(int top) {
    const int bottom = std::min(top + kTileHeight, _device.bottom);
    const std::size_t firstOfBand = _rects.size();
    for (int left = 0; left < _device.right; left += kTileWidth) {
        const DeviceRect tile{left, top, std::min(left + kTileWidth, _device.right), bottom};
        if (!latest().cells.intersects(tile)) {
            continue;
        }
        if (_rects.size() > firstOfBand && _rects.back().right == left) {
            _rects.back().right = tile.right;
        } else {
            _rects.push_back(tile);
        }
    }
    for (std::size_t i = firstOfBand; i < _rects.size();) {
        const auto above =
            std::find_if(_rects.begin(), _rects.begin() + static_cast<std::ptrdiff_t>(firstOfBand),
                         [&](const DeviceRect &rect) {
                             return rect.bottom == top && rect.left == _rects[i].left &&
                                    rect.right == _rects[i].right;
                         });
        if (above == _rects.begin() + static_cast<std::ptrdiff_t>(firstOfBand)) {
            i++;
        } else {
            above->bottom = bottom;
            _rects.erase(_rects.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}
