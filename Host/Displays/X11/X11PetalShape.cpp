#include "Host/Displays/X11/X11PetalShape.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <algorithm>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// The shape follows the petals in squares of this many pixels. Nobody sees that where they are
/// blended with the background that is beneath, and the server has fewer rectangles to handle.
constexpr int kCell = 4;

/// Petals without a background are cut where they are half transparent.
constexpr std::uint32_t kHardEdge = 128;

std::uint32_t withoutTransparency(std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24;
    std::uint32_t result = 0xff000000;
    for (int shift = 0; shift < 24 && alpha != 0; shift += 8) {
        result |= std::min((pixel >> shift & 0xff) * 255 / alpha, 255U) << shift;
    }
    return result;
}

DeviceRect wholeOf(const SharedBuffers &memory) {
    return {0, 0, static_cast<int>(memory.width()), static_cast<int>(memory.height())};
}

bool haveSameSize(const SharedBuffers &one, const SharedBuffers &other) {
    return one.width() == other.width() && one.height() == other.height();
}

} // namespace

X11PetalShape::X11PetalShape(X11Connection &connection, std::uint32_t window)
    : _connection(connection), _window(window) {
    cut();
}

void X11PetalShape::setBackground(std::shared_ptr<const SharedBuffers> background) {
    _background = std::move(background);
    _isWhole = true;
}

void X11PetalShape::update(const SharedBuffers &petals, const std::vector<DeviceRect> &damage) {
    if (!_picture || !haveSameSize(*_picture, petals)) {
        _picture = std::make_shared<SharedBuffers>(petals.width(), petals.height(), 1);
        _isWhole = true;
    }
    if (_background && !haveSameSize(*_background, petals)) {
        _background.reset();
    }
    const DeviceRect whole = wholeOf(petals);
    if (_isWhole) {
        _cellSize = _background ? kCell : 1;
        _bands.assign(static_cast<std::size_t>((whole.bottom + _cellSize - 1) / _cellSize), {});
    }
    std::vector<bool> areChanged(_bands.size());
    for (const DeviceRect &rect : _isWhole ? std::vector{whole} : damage) {
        const DeviceRect part = rect.intersection(whole);
        blend(petals, part);
        for (int band = part.top / _cellSize; band * _cellSize < part.bottom; ++band) {
            areChanged[static_cast<std::size_t>(band)] = true;
        }
    }
    for (std::size_t band = 0; band < areChanged.size(); ++band) {
        if (areChanged[band]) {
            findSpans(petals, static_cast<int>(band));
        }
    }
    _isWhole = false;
    cut();
}

void X11PetalShape::blend(const SharedBuffers &petals, const DeviceRect &rect) {
    const std::uint32_t *const below = _background ? _background->pixels(0) : nullptr;
    for (int y = rect.top; y < rect.bottom; ++y) {
        const std::size_t row = static_cast<std::size_t>(y) * petals.width();
        const std::uint32_t *const above = petals.pixels(0) + row;
        std::uint32_t *const result = _picture->pixels(0) + row;
        for (int x = rect.left; x < rect.right; ++x) {
            if (below) {
                result[x] = below[row + static_cast<std::size_t>(x)];
                PixelArithmetic::blend(PixelArithmetic::spread(above[x]), result[x]);
            } else {
                result[x] = withoutTransparency(above[x]);
            }
        }
    }
}

void X11PetalShape::findSpans(const SharedBuffers &petals, int band) {
    const int width = static_cast<int>(petals.width());
    const int bottom = std::min((band + 1) * _cellSize, static_cast<int>(petals.height()));
    const std::uint32_t least = (_background ? 1U : kHardEdge) << 24;
    _cells.assign(static_cast<std::size_t>((width + kCell - 1) / kCell) * kCell, 0);
    for (int y = band * _cellSize; y < bottom; ++y) {
        const std::uint32_t *const row =
            petals.pixels(0) + static_cast<std::size_t>(y) * petals.width();
        for (int x = 0; x < width; ++x) {
            _cells[static_cast<std::size_t>(x)] =
                std::max(_cells[static_cast<std::size_t>(x)], row[x]);
        }
    }
    std::vector<Span> &spans = _bands[static_cast<std::size_t>(band)];
    spans.clear();
    for (int x = 0; x < width; x += _cellSize) {
        const auto first = _cells.begin() + x;
        const bool isCovered = *std::max_element(first, first + _cellSize) >= least;
        const bool continues = !spans.empty() && spans.back().right == x;
        if (isCovered && continues) {
            spans.back().right = x + _cellSize;
        } else if (isCovered) {
            spans.push_back({x, x + _cellSize});
        }
    }
}

void X11PetalShape::cut() const {
    std::vector<xcb_rectangle_t> rects;
    const auto height = static_cast<std::uint16_t>(_cellSize);
    for (std::size_t band = 0; band < _bands.size(); ++band) {
        for (const Span &span : _bands[band]) {
            rects.push_back({static_cast<std::int16_t>(span.left),
                             static_cast<std::int16_t>(band * height),
                             static_cast<std::uint16_t>(span.right - span.left), height});
        }
    }
    xcb_shape_rectangles(_connection.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                         XCB_CLIP_ORDERING_YX_BANDED, _window, 0, 0,
                         static_cast<std::uint32_t>(rects.size()), rects.data());
}

} // namespace Lumivera
