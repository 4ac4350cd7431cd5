#include "Platform/Compositor/DeviceQuad.h"

#include <cmath>

namespace {

// Half a step of what a byte can tell, so an edge this near a pixel boundary lies on it.
constexpr double kAligned = 1.0 / 1024;

// Covered by less, in pixels, a pixel does not change; more than rounding adds.
constexpr double kUnseen = 1.0 / 65536;

// Thinner than this in pixels, it would cover less than half a step of what a byte can tell.
constexpr double kThinnest = 1.0 / 1024;

struct Interval {
    double low;
    double high;
};

// The x for which low <= start + step·x <= high.
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

// The whole numbers in both intervals, as [left, right) within the bounds given.
void intersect(const Interval &a, const Interval &b, int &left, int &right) {
    const double low = std::ceil(std::max(a.low, b.low));
    const double high = std::floor(std::min(a.high, b.high)) + 1;
    const int bound = right;
    right = static_cast<int>(std::clamp<double>(high, left, bound));
    left = static_cast<int>(std::clamp<double>(low, left, right));
}

// The values of p·u + q·v.
Interval range(double p, const Interval &u, double q, const Interval &v) {
    return {std::min(p * u.low, p * u.high) + std::min(q * v.low, q * v.high),
            std::max(p * u.low, p * u.high) + std::max(q * v.low, q * v.high)};
}

double covered(double position, double extent, double unit) {
    return std::clamp(position / unit + 0.5, 0.0, 1.0) +
           std::clamp((extent - position) / unit + 0.5, 0.0, 1.0) - 1;
}

// A device coordinate as a pixel edge of [low, high], when it is one or lies beyond.
std::optional<int> pixelEdge(double value, int low, int high) {
    const double nearest = std::round(std::clamp<double>(value, low, high));
    if (value > low && value < high && std::abs(value - nearest) > kAligned) {
        return std::nullopt;
    }
    return static_cast<int>(nearest);
}

} // namespace

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
    const bool seen = result._unitsX * kThinnest < width && result._unitsY * kThinnest < height;
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

DeviceQuad::Span DeviceQuad::span(int y, int left, int right, double margin) const {
    const double u = _inverse.tx + _inverse.c * (y + 0.5) + _inverse.a * 0.5;
    const double v = _inverse.ty + _inverse.d * (y + 0.5) + _inverse.b * 0.5;
    const double fadeX = _unitsX / 2;
    const double fadeY = _unitsY / 2;
    const double marginX = std::max(margin, fadeX);
    const double marginY = std::max(margin, fadeY);
    Span span{left, left, right, right};
    intersect(solve(u, _inverse.a, -fadeX, _width + fadeX),
              solve(v, _inverse.b, -fadeY, _height + fadeY), span.outerLeft, span.outerRight);
    span.innerLeft = span.outerLeft;
    span.innerRight = span.outerRight;
    intersect(solve(u, _inverse.a, marginX, _width - marginX),
              solve(v, _inverse.b, marginY, _height - marginY), span.innerLeft, span.innerRight);
    return span;
}

double DeviceQuad::coverage(double u, double v) const {
    return std::max(covered(u, _width, _unitsX), 0.0) * std::max(covered(v, _height, _unitsY), 0.0);
}
