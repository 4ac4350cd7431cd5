#include "Platform/Compositor/PolygonSpans.h"

#include <utility>

namespace {

// A pixel's centre this near an edge may lie on either side of it.
constexpr double kTouching = 1.0 / 65536;

// The first row or column whose centre is at or behind the place given, within bounds that are not
// negative.
int firstFrom(double place, int low, int high) {
    const double clamped = std::min<double>(std::max<double>(low, place - 0.5), high);
    const int whole = static_cast<int>(clamped);
    return whole + (clamped > whole);
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
    _spans.assign(static_cast<std::size_t>(_bottom - _top), {clip.right, clip.left});
    const Point *from = &polygon.back();
    for (const Point &to : polygon) {
        if (from->y <= to.y) {
            addEdge(*from, to, clip);
        } else {
            addEdge(to, *from, clip);
        }
        from = &to;
    }
}

// Downwards.
void PolygonSpans::addEdge(const Point &from, const Point &to, const DeviceRect &clip) {
    const int first = firstFrom(from.y, _top, _bottom);
    const int end = firstFrom(to.y, first, _bottom);
    if (first >= end) {
        return;
    }
    const double slope = (to.x - from.x) / (to.y - from.y);
    const double start = from.x - (from.y - 0.5) * slope;
    for (int y = first; y < end; y++) {
        const double x = start + y * slope;
        Span &span = _spans[static_cast<std::size_t>(y - _top)];
        span.left = std::min(span.left, firstFrom(x - kTouching, clip.left, clip.right));
        span.right = std::max(span.right, firstFrom(x + kTouching, clip.left, clip.right));
    }
}
