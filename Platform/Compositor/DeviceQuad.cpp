#include "Platform/Compositor/DeviceQuad.h"

#include "Platform/Compositor/PixelArithmetic.h"

#include <cmath>

namespace {

/// Pixels. An edge this near a pixel boundary counts as on it: the difference in coverage is less
/// than half a level of 255.
constexpr double kAligned = 1.0 / 1024;

/// Pixels. Less coverage than this changes no pixel, and rounding errors are smaller.
constexpr double kUnseen = 1.0 / 65536;

/// Pixels. A thinner quad would cover less than half a level of 255.
constexpr double kMinThickness = 1.0 / 1024;

struct Interval {
    double low;
    double high;
};

/// Solves low <= start + step·x <= high for x.
Interval solve(double start, double step, double low, double high) {
    if (low > high || (step == 0 && (start < low || start > high))) {
        return {HUGE_VAL, -HUGE_VAL};
    }
    if (step == 0) {
        return {-HUGE_VAL, HUGE_VAL};
    }
    const double first = (low - start) / step;
    const double second = (high - start) / step;
    return {std::min(first, second), std::max(first, second)};
}

/// Narrows [left, right) to the whole numbers that lie in both intervals.
void intersect(const Interval &a, const Interval &b, int &left, int &right) {
    const double low = std::ceil(std::max(a.low, b.low));
    const double high = std::floor(std::min(a.high, b.high)) + 1;
    const int bound = right;
    right = static_cast<int>(std::clamp<double>(high, left, bound));
    left = static_cast<int>(std::clamp<double>(low, left, right));
}

/// The interval of the values of p·u + q·v.
Interval range(double p, const Interval &u, double q, const Interval &v) {
    return {std::min(p * u.low, p * u.high) + std::min(q * v.low, q * v.high),
            std::max(p * u.low, p * u.high) + std::max(q * v.low, q * v.high)};
}

double covered(double position, double extent, double unit) {
    return std::clamp(position / unit + 0.5, 0.0, 1.0) +
           std::clamp((extent - position) / unit + 0.5, 0.0, 1.0) - 1;
}

/// The pixel boundary in [low, high] at a device coordinate. None when it lies between two.
std::optional<int> pixelEdge(double value, int low, int high) {
    const double nearest = std::round(std::clamp<double>(value, low, high));
    if (value > low && value < high && std::abs(value - nearest) > kAligned) {
        return std::nullopt;
    }
    return static_cast<int>(nearest);
}

} // namespace

bool Affine::isFinite() const {
    return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d) &&
           std::isfinite(tx) && std::isfinite(ty);
}

Affine Affine::fromRect(double x, double y, double width, double height) const {
    return {a * width, b * width, c * height, d * height, a * x + c * y + tx, b * x + d * y + ty};
}

std::optional<Affine> Affine::inverse() const {
    const double determinant = a * d - b * c;
    if (!isFinite() || determinant == 0) {
        return std::nullopt;
    }
    Affine result{d / determinant, -b / determinant, -c / determinant, a / determinant, 0, 0};
    result.tx = -(tx * result.a + ty * result.c);
    result.ty = -(tx * result.b + ty * result.d);
    return result.isFinite() ? std::optional(result) : std::nullopt;
}

std::optional<DeviceQuad> DeviceQuad::make(const Affine &toDevice, double width, double height) {
    const std::optional<Affine> inverse = toDevice.inverse();
    if (!inverse || !(width > 0) || !(height > 0)) {
        return std::nullopt;
    }
    DeviceQuad result;
    result._toDevice = toDevice;
    result._inverse = *inverse;
    result._width = width;
    result._height = height;
    result._unitsX = std::sqrt(inverse->a * inverse->a + inverse->c * inverse->c);
    result._unitsY = std::sqrt(inverse->b * inverse->b + inverse->d * inverse->d);
    const bool seen =
        result._unitsX * kMinThickness < width && result._unitsY * kMinThickness < height;
    return seen ? std::optional(result) : std::nullopt;
}

DeviceRect DeviceQuad::boundsWithin(const DeviceRect &clip) const {
    const Interval u{-_unitsX / 2, _width + _unitsX / 2};
    const Interval v{-_unitsY / 2, _height + _unitsY / 2};
    const Interval x = range(_toDevice.a, u, _toDevice.c, v);
    const Interval y = range(_toDevice.b, u, _toDevice.d, v);
    const auto column = [&](double value) {
        return static_cast<int>(std::clamp<double>(value, clip.left, clip.right));
    };
    const auto line = [&](double value) {
        return static_cast<int>(std::clamp<double>(value, clip.top, clip.bottom));
    };
    return {column(std::floor(_toDevice.tx + x.low - 0.5 + kUnseen) + 1),
            line(std::floor(_toDevice.ty + y.low - 0.5 + kUnseen) + 1),
            column(std::ceil(_toDevice.tx + x.high - 0.5 - kUnseen)),
            line(std::ceil(_toDevice.ty + y.high - 0.5 - kUnseen))};
}

std::optional<DeviceRect> DeviceQuad::alignedRectWithin(const DeviceRect &clip) const {
    const double skew = std::abs(_toDevice.b) * _width + std::abs(_toDevice.c) * _height;
    if (clip.isEmpty() || skew > kAligned) {
        return std::nullopt;
    }
    const double x = _toDevice.tx + _toDevice.a * _width;
    const double y = _toDevice.ty + _toDevice.d * _height;
    const auto left = pixelEdge(std::min(_toDevice.tx, x), clip.left, clip.right);
    const auto right = pixelEdge(std::max(_toDevice.tx, x), clip.left, clip.right);
    const auto top = pixelEdge(std::min(_toDevice.ty, y), clip.top, clip.bottom);
    const auto bottom = pixelEdge(std::max(_toDevice.ty, y), clip.top, clip.bottom);
    if (!left || !right || !top || !bottom) {
        return std::nullopt;
    }
    return DeviceRect{*left, *top, *right, *bottom};
}

bool DeviceQuad::coversWholly(const DeviceRect &area) const {
    return area.everyCorner([this](int x, int y) {
        return coverage(x, y) * PixelArithmetic::kFullWeight > PixelArithmetic::kFullWeight - 0.5;
    });
}

DeviceQuad::Span DeviceQuad::span(int y, int left, int right) const {
    const double u = _inverse.tx + _inverse.c * (y + 0.5) + _inverse.a * 0.5;
    const double v = _inverse.ty + _inverse.d * (y + 0.5) + _inverse.b * 0.5;
    const double fadeX = _unitsX / 2;
    const double fadeY = _unitsY / 2;
    Span span{left, left, right, right};
    intersect(solve(u, _inverse.a, -fadeX, _width + fadeX),
              solve(v, _inverse.b, -fadeY, _height + fadeY), span.outerLeft, span.outerRight);
    span.innerLeft = span.outerLeft;
    span.innerRight = span.outerRight;
    intersect(solve(u, _inverse.a, fadeX, _width - fadeX),
              solve(v, _inverse.b, fadeY, _height - fadeY), span.innerLeft, span.innerRight);
    return span;
}

double DeviceQuad::coverage(int x, int y) const {
    const double u = _inverse.tx + _inverse.c * (y + 0.5) + _inverse.a * (x + 0.5);
    const double v = _inverse.ty + _inverse.d * (y + 0.5) + _inverse.b * (x + 0.5);
    return std::max(covered(u, _width, _unitsX), 0.0) * std::max(covered(v, _height, _unitsY), 0.0);
}
