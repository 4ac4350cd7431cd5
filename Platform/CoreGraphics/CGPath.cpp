#include "Platform/CoreGraphics/CairoDrawing.h"

#include <algorithm>
#include <cairo.h>
#include <limits>
#include <optional>

namespace {

/// Largest distance, in pixels, between a curve and the straight pieces that stand for it.
constexpr double kTolerance = 0.005;

/// The arc that rounds a corner, between the points where its circle touches the two lines.
struct CornerArc {
    CGPoint center;
    double startAngle = 0;
    double endAngle = 0;
    bool turnsBackward = false;
};

/// Nothing when the points lie in one line or the radius is 0.
std::optional<CornerArc> cornerArc(CGPoint from, CGPoint corner, CGPoint to, double radius) {
    const double inX = from.x - corner.x, inY = from.y - corner.y;
    const double outX = to.x - corner.x, outY = to.y - corner.y;
    const double inLength = std::hypot(inX, inY), outLength = std::hypot(outX, outY);
    const double cross = inX * outY - inY * outX;
    if (!(inLength > 0) || !(outLength > 0) || !(radius > 0) || !(std::fabs(cross) > 0)) {
        return std::nullopt;
    }
    const double halfAngle = std::atan2(std::fabs(cross), inX * outX + inY * outY) / 2;
    const double distance = radius / std::tan(halfAngle);
    const double reach = radius / std::sin(halfAngle);
    const double bisectorX = inX / inLength + outX / outLength;
    const double bisectorY = inY / inLength + outY / outLength;
    const double bisector = std::hypot(bisectorX, bisectorY);
    CornerArc arc;
    arc.center = {static_cast<CGFloat>(corner.x + bisectorX / bisector * reach),
                  static_cast<CGFloat>(corner.y + bisectorY / bisector * reach)};
    const auto angleTo = [&](double x, double y, double length) {
        return std::atan2(corner.y + y / length * distance - arc.center.y,
                          corner.x + x / length * distance - arc.center.x);
    };
    arc.startAngle = angleTo(inX, inY, inLength);
    arc.endAngle = angleTo(outX, outY, outLength);
    arc.turnsBackward = cross > 0;
    return arc;
}

CGPoint currentPoint(cairo_t *drawing) {
    double x = 0, y = 0;
    cairo_get_current_point(drawing, &x, &y);
    return {static_cast<CGFloat>(x), static_cast<CGFloat>(y)};
}

void addArc(cairo_t *drawing, const CornerArc &arc, double radius) {
    const auto add = arc.turnsBackward ? cairo_arc_negative : cairo_arc;
    add(drawing, arc.center.x, arc.center.y, radius, arc.startAngle, arc.endAngle);
}

} // namespace

CGPath::CGPath(std::size_t width, std::size_t height)
    : _width(width), _height(height),
      _surface(cairo_image_surface_create(CAIRO_FORMAT_A8, static_cast<int>(width),
                                          static_cast<int>(height))),
      _drawing(cairo_create(_surface.get())) {
    cairo_set_antialias(_drawing.get(), CAIRO_ANTIALIAS_BEST);
    cairo_set_tolerance(_drawing.get(), kTolerance);
}

/// Transforms a point to the bitmap, clamped to the range that cairo can draw. False when the path
/// is spoiled by a NaN.
bool CGPath::place(CGPoint &point, const CGAffineTransform &t) {
    const auto nearest = [](CGFloat value) {
        return std::clamp<CGFloat>(value, -kMaxCoordinate, kMaxCoordinate);
    };
    constexpr CGFloat kFinite = std::numeric_limits<CGFloat>::max() / kMaxCoordinate;
    point = {std::clamp(point.x, -kFinite, kFinite), std::clamp(point.y, -kFinite, kFinite)};
    point = CGPointApplyAffineTransform(point, t);
    _isValid = _isValid && !std::isnan(point.x) && !std::isnan(point.y);
    point = {nearest(point.x), nearest(point.y)};
    return _isValid;
}

void CGPath::moveToPoint(CGPoint point, const CGAffineTransform &t) {
    if (place(point, t)) {
        cairo_move_to(_drawing.get(), point.x, point.y);
    }
}

void CGPath::addRect(const CGRect &rect, const CGAffineTransform &t) {
    const CGFloat left = rect.origin.x, right = left + rect.size.width;
    const CGFloat bottom = rect.origin.y, top = bottom + rect.size.height;
    moveToPoint({left, bottom}, t);
    for (CGPoint corner : {CGPoint{right, bottom}, CGPoint{right, top}, CGPoint{left, top}}) {
        if (place(corner, t)) {
            cairo_line_to(_drawing.get(), corner.x, corner.y);
        }
    }
    close();
}

void CGPath::addArcToPoint(CGPoint corner, CGPoint end, CGFloat radius,
                           const CGAffineTransform &t) {
    _isValid = _isValid && isDrawable(t);
    if (!_isValid) {
        return;
    }
    cairo_t *drawing = _drawing.get();
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, t.a, t.b, t.c, t.d, t.tx, t.ty);
    cairo_set_matrix(drawing, &matrix);
    const double size = std::fabs(radius);
    if (const auto arc = cornerArc(currentPoint(drawing), corner, end, size)) {
        addArc(drawing, *arc, size);
    } else {
        cairo_line_to(drawing, corner.x, corner.y);
    }
    cairo_identity_matrix(drawing);
}

void CGPath::close() { cairo_close_path(_drawing.get()); }

std::vector<std::uint8_t> CGPath::takeCoverage() {
    std::vector<std::uint8_t> result(_width * _height);
    cairo_fill(_drawing.get());
    cairo_surface_flush(_surface.get());
    if (!_isValid || cairo_status(_drawing.get()) != CAIRO_STATUS_SUCCESS) {
        return result;
    }
    const unsigned char *bytes = cairo_image_surface_get_data(_surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(_surface.get()));
    for (std::size_t y = 0; y < _height; ++y) {
        std::copy_n(bytes + y * stride, _width, result.data() + y * _width);
    }
    return result;
}
