#include "Platform/CoreGraphics/CGContext.h"

#include "Platform/CoreGraphics/CairoDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

namespace {

/// The pixels that a rectangle covers under a transform, clamped to the device; nothing when its
/// edges do not lie on pixel boundaries.
std::optional<CGRect> wholePixels(const CGRect &area, const CGAffineTransform &t, double width,
                                  double height) {
    if (t.b != 0 || t.c != 0 || !isDrawable(t)) {
        return std::nullopt;
    }
    const double x[] = {t.a * area.origin.x + t.tx, t.a * (area.origin.x + area.size.width) + t.tx};
    const double y[] = {t.d * area.origin.y + t.ty,
                        t.d * (area.origin.y + area.size.height) + t.ty};
    const auto isWhole = [](double value) { return value == std::floor(value); };
    if (!std::all_of(std::begin(x), std::end(x), isWhole) ||
        !std::all_of(std::begin(y), std::end(y), isWhole)) {
        return std::nullopt;
    }
    const double left = std::clamp(std::min(x[0], x[1]), 0.0, width);
    const double right = std::clamp(std::max(x[0], x[1]), 0.0, width);
    const double top = std::clamp(std::min(y[0], y[1]), 0.0, height);
    const double bottom = std::clamp(std::max(y[0], y[1]), 0.0, height);
    return CGRect{{left, top}, {right - left, bottom - top}};
}

} // namespace

Retained<CGContext> CGContext::bitmapContextCreate(NSUInteger width, NSUInteger height,
                                                   BitmapFormat format, std::uint8_t *buffer) {
    return CGImage::isSizeSupported(width, height)
               ? makeRetained<CGContext>(width, height, format, buffer)
               : nullptr;
}

CGContext::CGContext(NSUInteger width, NSUInteger height, BitmapFormat format, std::uint8_t *buffer)
    : _canvas(width, height, format == BitmapFormat::Grey), _format(format), _buffer(buffer) {
    _state.transform = {1, 0, 0, -1, 0, static_cast<double>(height)};
    if (_buffer) {
        std::memset(_buffer, 0, width * height * 4);
    }
}

CGContext::~CGContext() = default;

void CGContext::scaleCTM(CGFloat x, CGFloat y) {
    _state.transform = CGAffineTransformConcat({x, 0, 0, y, 0, 0}, _state.transform);
}

void CGContext::translateCTM(CGFloat x, CGFloat y) {
    _state.transform = CGAffineTransformConcat({1, 0, 0, 1, x, y}, _state.transform);
}

void CGContext::saveGState() { _saved.push_back(_state); }

void CGContext::restoreGState() {
    if (!_saved.empty()) {
        _state = std::move(_saved.back());
        _saved.pop_back();
    }
}

void CGContext::setFillColor(const CGColor &color) { _state.fillColor = color; }

void CGContext::setBlendMode(CGBlendMode mode) { _state.blendMode = mode; }

/// The transform from a picture's pixels (rows from the top) to the device when the picture fills
/// an area of user space.
CGAffineTransform CGContext::imageToDevice(const CGRect &area, const CGImage &image) const {
    const double width = area.size.width / static_cast<double>(image.width());
    const double height = area.size.height / static_cast<double>(image.height());
    const CGAffineTransform toUser{
        width, 0, 0, -height, area.origin.x, area.origin.y + area.size.height};
    return CGAffineTransformConcat(toUser, _state.transform);
}

void CGContext::clipToMask(const CGRect &area, const CGImage *mask) {
    const std::size_t width = _canvas.width();
    ClipCoverage coverage(width * _canvas.height());
    if (mask) {
        const PlacedPicture placed(*mask, imageToDevice(area, *mask), width, _canvas.height());
        if (placed.coversOpaquely()) {
            return;
        }
        for (std::size_t y = 0; y < _canvas.height(); ++y) {
            std::size_t x = 0;
            const auto pixels = placed.row(y, x);
            std::transform(pixels.begin(), pixels.end(), coverage.data() + y * width + x,
                           [](std::uint32_t pixel) { return pixel >> 24; });
        }
    }
    intersectClip(std::move(coverage));
}

void CGContext::intersectClip(ClipCoverage coverage) {
    if (_state.clip) {
        std::transform(coverage.begin(), coverage.end(), _state.clip->begin(), coverage.begin(),
                       premultipliedComponent);
    }
    _state.clip = std::make_shared<const ClipCoverage>(std::move(coverage));
}

void CGContext::fillRect(const CGRect &area) {
    const auto width = static_cast<double>(_canvas.width());
    const auto height = static_cast<double>(_canvas.height());
    if (const auto whole = wholePixels(area, _state.transform, width, height)) {
        fillPixels(*whole);
        return;
    }
    saveGState();
    beginPath();
    addRect(area);
    clip();
    fillPixels({{0, 0}, {static_cast<CGFloat>(width), static_cast<CGFloat>(height)}});
    restoreGState();
}

void CGContext::fillPixels(const CGRect &pixels) {
    CanvasStroke stroke{_state.blendMode, _state.clip, nullptr, _state.fillColor};
    stroke.left = static_cast<std::size_t>(pixels.origin.x);
    stroke.top = static_cast<std::size_t>(pixels.origin.y);
    stroke.right = stroke.left + static_cast<std::size_t>(pixels.size.width);
    stroke.bottom = stroke.top + static_cast<std::size_t>(pixels.size.height);
    _canvas.paint(std::move(stroke));
}

void CGContext::drawImage(const CGRect &area, const CGImage *image) {
    if (image) {
        auto placed = std::make_shared<const PlacedPicture>(*image, imageToDevice(area, *image),
                                                            _canvas.width(), _canvas.height());
        _canvas.paint({_state.blendMode, _state.clip, std::move(placed)});
    }
}

void CGContext::beginPath() { _path = std::make_unique<CGPath>(_canvas.width(), _canvas.height()); }

void CGContext::moveToPoint(CGFloat x, CGFloat y) {
    if (_path) {
        _path->moveToPoint({x, y}, _state.transform);
    }
}

void CGContext::addRect(const CGRect &rect) {
    if (_path) {
        _path->addRect(rect, _state.transform);
    }
}

void CGContext::addArcToPoint(CGFloat x1, CGFloat y1, CGFloat x2, CGFloat y2, CGFloat radius) {
    if (_path) {
        _path->addArcToPoint({x1, y1}, {x2, y2}, radius, _state.transform);
    }
}

void CGContext::closePath() {
    if (_path) {
        _path->close();
    }
}

void CGContext::clip() {
    if (_path) {
        intersectClip(_path->takeCoverage());
        _path = nullptr;
    }
}

Retained<CGImage> CGContext::createImage() const {
    return CGImage::imageWithPixels(_canvas.width(), _canvas.height(),
                                    _format == BitmapFormat::Grey ? _canvas.greyPixels()
                                                                  : _canvas.pixels());
}

void CGContext::flush() const {
    if (!_buffer) {
        return;
    }
    std::uint8_t *out = _buffer;
    for (const std::uint32_t pixel : _canvas.pixels()) {
        for (const int shift : {24, 16, 8, 0}) {
            *out++ = static_cast<std::uint8_t>(pixel >> shift);
        }
    }
}
