#include "Platform/CoreGraphics/BitmapCanvas.h"

#include "Platform/CoreGraphics/CanvasRow.h"

#include <span>

namespace {

constexpr std::size_t kMaxStrokes = 16;

} // namespace

BitmapCanvas::BitmapCanvas(std::size_t width, std::size_t height, bool isBlack)
    : _width(width), _height(height), _isBlack(isBlack) {}

void BitmapCanvas::paint(CanvasStroke stroke) {
    if (stroke.hidesEverything()) {
        _strokes.clear();
        _settled.clear();
    }
    _strokes.push_back(std::move(stroke));
    if (isWorthSettling()) {
        settle();
    }
}

/// Strokes keep clips and pictures alive. When they are many, or take more memory than their result
/// does, the result replaces them.
bool BitmapCanvas::isWorthSettling() const {
    std::size_t bytes = 0;
    for (const CanvasStroke &stroke : _strokes) {
        bytes += stroke.heldBytes();
    }
    return _strokes.size() > kMaxStrokes ||
           bytes > _width * _height * kComponents * sizeof(std::uint16_t);
}

template <class Take> void BitmapCanvas::computeRows(Take take) const {
    CanvasRow row(_width);
    std::span<const CanvasStroke> strokes(_strokes);
    const CanvasStroke *first = nullptr;
    if (_settled.empty() && !strokes.empty() && strokes.front().coversEverything()) {
        first = &strokes.front();
        strokes = strokes.subspan(1);
    }
    for (std::size_t y = 0; y < _height; ++y) {
        if (!_settled.empty()) {
            row.load(_settled.data() + y * _width * kComponents);
        } else if (first) {
            row.begin(*first->picture, y, _isBlack);
        } else {
            row.clear(_isBlack);
        }
        for (const CanvasStroke &stroke : strokes) {
            row.paint(stroke, y);
        }
        take(row, y);
    }
}

void BitmapCanvas::settle() {
    std::vector<std::uint16_t> settled(_width * _height * kComponents);
    computeRows([&](const CanvasRow &row, std::size_t y) {
        row.store(settled.data() + y * _width * kComponents);
    });
    _settled = std::move(settled);
    _strokes.clear();
}

PixelBuffer BitmapCanvas::pixels() const {
    PixelBuffer result;
    result.reserve(_width * _height);
    computeRows([&](CanvasRow &row, std::size_t) { row.appendPixels(result); });
    return result;
}

PixelBuffer BitmapCanvas::greyPixels() const {
    PixelBuffer result;
    result.reserve(_width * _height);
    computeRows([&](CanvasRow &row, std::size_t) { row.appendGreys(result); });
    return result;
}
