#include "Platform/CoreGraphics/CGContext.h"

#include "Platform/CoreGraphics/CGImageOperations.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <optional>
#include <utility>

namespace {

struct SurfaceDeleter {
    void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
};
struct DrawingDeleter {
    void operator()(cairo_t *drawing) const { cairo_destroy(drawing); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
using Drawing = std::unique_ptr<cairo_t, DrawingDeleter>;

/// The library takes coordinates in 24.8 fixed point; beyond this nothing of a bitmap is near.
constexpr double kFarthest = 4e6;

bool isNear(double value) {
    return std::fabs(value) <= kFarthest; // false for NaN
}

bool isUsable(const CGAffineTransform &t) {
    const double values[] = {t.a, t.b, t.c, t.d, t.tx, t.ty};
    const double determinant = t.a * t.d - t.b * t.c;
    return std::all_of(std::begin(values), std::end(values), isNear) && determinant != 0 &&
           std::isfinite(1 / determinant);
}

cairo_matrix_t matrixFrom(const CGAffineTransform &t) {
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, t.a, t.b, t.c, t.d, t.tx, t.ty);
    return matrix;
}

Surface surfaceOf(const CGImage &image) {
    // Only read from: the library's interface knows no constant pixels.
    auto *pixels = const_cast<std::uint32_t *>(image.pixels());
    return Surface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char *>(pixels), CAIRO_FORMAT_ARGB32,
        static_cast<int>(image.width()), static_cast<int>(image.height()),
        static_cast<int>(image.width() * sizeof(std::uint32_t))));
}

/// A picture under a transform from its pixels (rows from the top) to the device's, as
/// premultiplied pixels of the size of the device; what it does not reach is clear.
class PlacedPicture {
  public:
    PlacedPicture(const CGImage &image, const CGAffineTransform &toDevice, std::size_t width,
                  std::size_t height)
        : _width(width), _height(height) {
        if (!isUsable(toDevice)) {
            return;
        }
        if (isWholeMove(toDevice)) {
            place(image, std::lround(toDevice.tx), std::lround(toDevice.ty));
        } else {
            stretch(image, toDevice);
        }
    }

    /// The part of a row that the picture reaches, and where it begins.
    std::span<const std::uint32_t> row(std::size_t y, std::size_t &x) const {
        const bool isInside = y >= _top && y < _bottom && _left < _right;
        x = isInside ? _left : 0;
        return isInside ? std::span(_first + (y - _top) * _stride, _right - _left)
                        : std::span<const std::uint32_t>();
    }

  private:
    static bool isWholeMove(const CGAffineTransform &t) {
        return t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 && t.tx == std::floor(t.tx) &&
               t.ty == std::floor(t.ty);
    }

    /// Pixel on pixel: the picture's own rows serve.
    void place(const CGImage &image, long x, long y) {
        const auto clampTo = [](long value, std::size_t limit) {
            return static_cast<std::size_t>(std::clamp(value, 0L, static_cast<long>(limit)));
        };
        _left = clampTo(x, _width);
        _right = clampTo(x + static_cast<long>(image.width()), _width);
        _top = clampTo(y, _height);
        _bottom = clampTo(y + static_cast<long>(image.height()), _height);
        _stride = image.width();
        _first = image.pixels() + (static_cast<long>(_top) - y) * static_cast<long>(_stride) +
                 (static_cast<long>(_left) - x);
    }

    void stretch(const CGImage &image, const CGAffineTransform &toDevice) {
        const Surface target(cairo_image_surface_create(
            CAIRO_FORMAT_ARGB32, static_cast<int>(_width), static_cast<int>(_height)));
        const Surface source = surfaceOf(image);
        const Drawing drawing(cairo_create(target.get()));
        const cairo_matrix_t matrix = matrixFrom(toDevice);
        cairo_set_matrix(drawing.get(), &matrix);
        cairo_set_source_surface(drawing.get(), source.get(), 0, 0);
        cairo_pattern_set_extend(cairo_get_source(drawing.get()), CAIRO_EXTEND_PAD);
        cairo_pattern_set_filter(cairo_get_source(drawing.get()), CAIRO_FILTER_GOOD);
        cairo_rectangle(drawing.get(), 0, 0, static_cast<double>(image.width()),
                        static_cast<double>(image.height()));
        cairo_fill(drawing.get());
        copyFrom(target.get());
    }

    void copyFrom(cairo_surface_t *surface) {
        if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
            return;
        }
        cairo_surface_flush(surface);
        const auto *bytes = cairo_image_surface_get_data(surface);
        const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface)) /
                            sizeof(std::uint32_t);
        const auto *words = reinterpret_cast<const std::uint32_t *>(bytes);
        _stretched.assign(words, words + stride * _height);
        _first = _stretched.data();
        _stride = stride;
        _right = _width;
        _bottom = _height;
    }

    std::size_t _width;
    std::size_t _height;
    std::vector<std::uint32_t> _stretched;
    const std::uint32_t *_first = nullptr;
    std::size_t _stride = 0;
    std::size_t _left = 0, _right = 0, _top = 0, _bottom = 0;
};

/// The tangent points of a circle that rounds a corner.
struct CornerArc {
    CGPoint center;
    double startAngle = 0;
    double endAngle = 0;
    bool turnsBackward = false;
};

/// Nothing when the points lie in one line or the radius is 0.
bool findCornerArc(CGPoint from, CGPoint corner, CGPoint to, double radius, CornerArc &arc) {
    const double inX = from.x - corner.x, inY = from.y - corner.y;
    const double outX = to.x - corner.x, outY = to.y - corner.y;
    const double inLength = std::hypot(inX, inY), outLength = std::hypot(outX, outY);
    const double cross = inX * outY - inY * outX;
    if (!(inLength > 0) || !(outLength > 0) || radius == 0 || !(std::fabs(cross) > 0)) {
        return false;
    }
    const double halfAngle = std::atan2(std::fabs(cross), inX * outX + inY * outY) / 2;
    const double distance = radius / std::tan(halfAngle);
    const double reach = radius / std::sin(halfAngle);
    const double bisectorX = inX / inLength + outX / outLength;
    const double bisectorY = inY / inLength + outY / outLength;
    const double bisector = std::hypot(bisectorX, bisectorY);
    arc.center = {corner.x + bisectorX / bisector * reach, corner.y + bisectorY / bisector * reach};
    const auto angleTo = [&](double x, double y, double length) {
        return std::atan2(corner.y + y / length * distance - arc.center.y,
                          corner.x + x / length * distance - arc.center.x);
    };
    arc.startAngle = angleTo(inX, inY, inLength);
    arc.endAngle = angleTo(outX, outY, outLength);
    arc.turnsBackward = cross > 0;
    return true;
}

/// The whole pixels that a rectangle covers under a transform, clamped to the device; nothing when
/// its edges do not lie between pixels.
std::optional<CGRect> wholePixels(const CGRect &area, const CGAffineTransform &t, double width,
                                  double height) {
    if (t.b != 0 || t.c != 0 || !isUsable(t)) {
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

/// Exact product of two values that mean fractions of 255.
std::uint8_t product(unsigned a, unsigned b) {
    return static_cast<std::uint8_t>((a * b + 127) / 255);
}

} // namespace

/// The path under construction, on a surface that turns it into coverage.
struct CGContext::Path {
    Path(std::size_t width, std::size_t height)
        : surface(cairo_image_surface_create(CAIRO_FORMAT_A8, static_cast<int>(width),
                                             static_cast<int>(height))),
          drawing(cairo_create(surface.get())) {
        cairo_set_antialias(drawing.get(), CAIRO_ANTIALIAS_BEST);
    }

    /// Points are placed by the transform that is in force when they are added.
    void useTransform(const CGAffineTransform &t) {
        isValid = isValid && isUsable(t);
        if (isValid) {
            const cairo_matrix_t matrix = matrixFrom(t);
            cairo_set_matrix(drawing.get(), &matrix);
        }
    }

    std::vector<std::uint8_t> coverage(std::size_t width, std::size_t height) const {
        std::vector<std::uint8_t> result(width * height);
        cairo_fill(drawing.get());
        cairo_surface_flush(surface.get());
        if (!isValid || cairo_status(drawing.get()) != CAIRO_STATUS_SUCCESS) {
            return result;
        }
        const unsigned char *bytes = cairo_image_surface_get_data(surface.get());
        const int stride = cairo_image_surface_get_stride(surface.get());
        for (std::size_t y = 0; y < height; ++y) {
            std::copy_n(bytes + y * static_cast<std::size_t>(stride), width,
                        result.data() + y * width);
        }
        return result;
    }

    Surface surface;
    Drawing drawing;
    bool isValid = true;
};

Retained<CGContext> CGContext::bitmapContextCreate(NSUInteger width, NSUInteger height,
                                                   CGBitmapFormat format, std::uint8_t *buffer) {
    return CGImage::isSizeSupported(width, height)
               ? makeRetained<CGContext>(width, height, format, buffer)
               : nullptr;
}

CGContext::CGContext(NSUInteger width, NSUInteger height, CGBitmapFormat format,
                     std::uint8_t *buffer)
    : _canvas(width, height), _format(format), _buffer(buffer) {
    _state.transform = {1, 0, 0, -1, 0, static_cast<double>(height)};
    if (format == CGBitmapFormat::Grey) {
        _canvas.fillBlack();
    }
    flush();
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

/// Where the pixels of a picture (rows from the top) go when it fills an area of user space.
CGAffineTransform CGContext::imageToDevice(const CGRect &area, const CGImage &image) const {
    const double width = area.size.width / static_cast<double>(image.width());
    const double height = area.size.height / static_cast<double>(image.height());
    const CGAffineTransform toUser{
        width, 0, 0, -height, area.origin.x, area.origin.y + area.size.height};
    return CGAffineTransformConcat(toUser, _state.transform);
}

void CGContext::clipToMask(const CGRect &area, const CGImage *mask) {
    std::vector<std::uint8_t> coverage(_canvas.width() * _canvas.height());
    if (mask) {
        const PlacedPicture placed(*mask, imageToDevice(area, *mask), _canvas.width(),
                                   _canvas.height());
        for (std::size_t y = 0; y < _canvas.height(); ++y) {
            std::size_t x = 0;
            std::uint8_t *out = coverage.data() + y * _canvas.width();
            for (const std::uint32_t pixel : placed.row(y, x)) {
                out[x++] = static_cast<std::uint8_t>(pixel >> 24);
            }
        }
    }
    intersectClip(std::move(coverage));
}

void CGContext::intersectClip(std::vector<std::uint8_t> coverage) {
    if (_state.clip) {
        std::transform(coverage.begin(), coverage.end(), _state.clip->begin(), coverage.begin(),
                       product);
    }
    _state.clip = std::make_shared<const std::vector<std::uint8_t>>(std::move(coverage));
}

std::span<const std::uint8_t> CGContext::clipRow(std::size_t x, std::size_t y,
                                                 std::size_t count) const {
    return _state.clip ? std::span(_state.clip->data() + y * _canvas.width() + x, count)
                       : std::span<const std::uint8_t>();
}

void CGContext::fillRect(const CGRect &area) {
    const auto whole = wholePixels(area, _state.transform, static_cast<double>(_canvas.width()),
                                   static_cast<double>(_canvas.height()));
    if (whole) {
        fillPixels(static_cast<std::size_t>(whole->origin.x),
                   static_cast<std::size_t>(whole->origin.y),
                   static_cast<std::size_t>(whole->size.width),
                   static_cast<std::size_t>(whole->size.height));
        return;
    }
    saveGState();
    beginPath();
    addRect(area);
    clip();
    fillPixels(0, 0, _canvas.width(), _canvas.height());
    restoreGState();
}

void CGContext::fillPixels(std::size_t x, std::size_t y, std::size_t width, std::size_t height) {
    for (std::size_t row = y; row < y + height; ++row) {
        _canvas.fillRow(_state.blendMode, x, row, width, _state.fillColor, clipRow(x, row, width));
    }
}

void CGContext::drawImage(const CGRect &area, const CGImage *image) {
    if (!image) {
        return;
    }
    const PlacedPicture placed(*image, imageToDevice(area, *image), _canvas.width(),
                               _canvas.height());
    for (std::size_t y = 0; y < _canvas.height(); ++y) {
        std::size_t x = 0;
        const auto pixels = placed.row(y, x);
        _canvas.blendRow(_state.blendMode, x, y, pixels, clipRow(x, y, pixels.size()));
    }
}

void CGContext::beginPath() { _path = std::make_unique<Path>(_canvas.width(), _canvas.height()); }

void CGContext::moveToPoint(CGFloat x, CGFloat y) {
    if (_path) {
        _path->useTransform(_state.transform);
        cairo_move_to(_path->drawing.get(), x, y);
    }
}

void CGContext::addRect(const CGRect &rect) {
    if (_path) {
        _path->useTransform(_state.transform);
        cairo_rectangle(_path->drawing.get(), rect.origin.x, rect.origin.y, rect.size.width,
                        rect.size.height);
    }
}

void CGContext::addArcToPoint(CGFloat x1, CGFloat y1, CGFloat x2, CGFloat y2, CGFloat radius) {
    if (!_path) {
        return;
    }
    _path->useTransform(_state.transform);
    cairo_t *drawing = _path->drawing.get();
    double fromX = 0, fromY = 0;
    cairo_get_current_point(drawing, &fromX, &fromY);
    CornerArc arc;
    if (!findCornerArc({fromX, fromY}, {x1, y1}, {x2, y2}, radius, arc)) {
        cairo_line_to(drawing, x1, y1);
    } else if (arc.turnsBackward) {
        cairo_arc_negative(drawing, arc.center.x, arc.center.y, std::fabs(radius), arc.startAngle,
                           arc.endAngle);
    } else {
        cairo_arc(drawing, arc.center.x, arc.center.y, std::fabs(radius), arc.startAngle,
                  arc.endAngle);
    }
}

void CGContext::closePath() {
    if (_path) {
        cairo_close_path(_path->drawing.get());
    }
}

void CGContext::clip() {
    if (_path) {
        intersectClip(_path->coverage(_canvas.width(), _canvas.height()));
        _path = nullptr;
    }
}

Retained<CGImage> CGContext::createImage() const {
    return _format == CGBitmapFormat::Grey
               ? CGImageCreateWithGreySamples(_canvas.width(), _canvas.height(),
                                              _canvas.greySamples())
               : CGImage::imageWithPixels(_canvas.width(), _canvas.height(), _canvas.pixels());
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
