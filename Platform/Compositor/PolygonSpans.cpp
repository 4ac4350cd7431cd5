#include "Platform/Compositor/PolygonSpans.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

/// Pixels. A centre this near an edge counts as inside, because rounding may put it on either side.
constexpr double kTouching = 1.0 / 65536;

/// Pixels. Edges whose x stays below this are followed in integers with 32 fractional bits, which
/// could overflow beyond.
constexpr double kNear = 1 << 28;

/// More rows than most sprites have, so that few sprites allocate.
constexpr std::size_t kMinRows = 1024;

std::int64_t fixed(double value) { return static_cast<std::int64_t>(value * 4294967296.0); }

/// The first row or column whose centre is not before the place, limited to [low, high], which is
/// not negative.
int firstFrom(double place, int low, int high) {
    const double clamped = std::min<double>(std::max<double>(low, place - 0.5), high);
    const int whole = static_cast<int>(clamped);
    return whole + (clamped > whole);
}

double twiceTheArea(std::span<const PolygonSpans::Point> polygon) {
    const PolygonSpans::Point &origin = polygon.front();
    double sum = 0;
    for (std::size_t i = 2; i < polygon.size(); ++i) {
        sum += (polygon[i - 1].x - origin.x) * (polygon[i].y - origin.y) -
               (polygon[i].x - origin.x) * (polygon[i - 1].y - origin.y);
    }
    return sum;
}

} // namespace

void PolygonSpans::find(std::span<const Point> polygon, const DeviceRect &clip) {
    double top = polygon.front().y;
    double bottom = top;
    for (const Point &point : polygon) {
        top = std::min(top, point.y);
        bottom = std::max(bottom, point.y);
    }
    _top = firstFrom(top, clip.top, clip.bottom);
    _bottom = std::max(_top, firstFrom(bottom, clip.top, clip.bottom));
    _clipLeft = clip.left;
    _clipRight = clip.right;
    _lefts.reserve(kMinRows);
    _rights.reserve(kMinRows);
    _lefts.assign(static_cast<std::size_t>(_bottom - _top), std::numeric_limits<int>::max());
    _rights.assign(static_cast<std::size_t>(_bottom - _top), std::numeric_limits<int>::min());
    const Point *from = &polygon.back();
    int fromRow = firstFrom(from->y, _top, _bottom);
    const bool isClockwise = twiceTheArea(polygon) > 0;
    for (const Point &to : polygon) {
        const int toRow = firstFrom(to.y, _top, _bottom);
        if (fromRow < toRow) {
            addEdge(*from, to, fromRow, toRow, !isClockwise);
        } else if (toRow < fromRow) {
            addEdge(to, *from, toRow, fromRow, isClockwise);
        }
        from = &to;
        fromRow = toRow;
    }
}

/// The edge must run downwards, from `from` to `to`.
void PolygonSpans::addEdge(const Point &from, const Point &to, int first, int end, bool isLeft) {
    const double slope = (to.x - from.x) / (to.y - from.y);
    const double start = from.x + (first + 0.5 - from.y) * slope;
    const double last = start + (end - first) * slope;
    if (!(std::abs(start) < kNear && std::abs(last) < kNear)) {
        addFarEdge(from, slope, first, end, isLeft);
        return;
    }
    const std::int64_t step = fixed(slope);
    std::int64_t x = fixed(start + (isLeft ? -kTouching : kTouching) + 0.5) - 1;
    const auto index = static_cast<std::size_t>(first - _top);
    if (isLeft) {
        for (int *left = &_lefts[index], *stop = left + (end - first); left < stop; ++left) {
            *left = std::min(*left, static_cast<int>(x >> 32));
            x += step;
        }
    } else {
        for (int *right = &_rights[index], *stop = right + (end - first); right < stop; ++right) {
            *right = std::max(*right, static_cast<int>(x >> 32));
            x += step;
        }
    }
}

void PolygonSpans::addFarEdge(const Point &from, double slope, int first, int end, bool isLeft) {
    for (int y = first; y < end; ++y) {
        const double x = from.x + (y + 0.5 - from.y) * slope;
        const auto index = static_cast<std::size_t>(y - _top);
        if (isLeft) {
            _lefts[index] =
                std::min(_lefts[index], firstFrom(x - kTouching, _clipLeft, _clipRight));
        } else {
            _rights[index] =
                std::max(_rights[index], firstFrom(x + kTouching, _clipLeft, _clipRight));
        }
    }
}
