#include "Platform/Compositor/ProjectiveQuad.h"

#include <algorithm>
#include <cmath>

namespace {

/// Pixels. Rounding errors are smaller than this.
constexpr double kUnseen = 1.0 / 65536;

/// Pixels. Farther away than any pixel of a device.
constexpr double kFar = 1e9;

/// Narrows [low, high] to the x for which start + step·x is at least `least`.
void keepAtLeast(double start, double step, double least, double &low, double &high) {
    if (step > 0) {
        low = std::max(low, (least - start) / step);
    } else if (step < 0) {
        high = std::min(high, (least - start) / step);
    } else if (start < least) {
        high = low - 1;
    }
}

/// Narrows [left, right) to the whole numbers from low to high.
void keepWithin(double low, double high, int &left, int &right) {
    const double from = std::clamp<double>(std::ceil(low), left, right);
    right = static_cast<int>(std::clamp<double>(std::floor(high) + 1, from, right));
    left = static_cast<int>(from);
}

double covered(double before, double after) {
    return std::max(0.0,
                    std::clamp(before + 0.5, 0.0, 1.0) + std::clamp(after + 0.5, 0.0, 1.0) - 1);
}

} // namespace

/// Inverts the map from the square to the device. The last coordinate of the inverse is one over
/// the depth, and so positive for points in front of the viewer.
std::optional<ProjectiveQuad> ProjectiveQuad::make(const Affine &map, const Depth &depth) {
    const double determinant = map.a * (map.d * depth.one - map.ty * depth.y) -
                               map.b * (map.c * depth.one - map.tx * depth.y) +
                               depth.x * (map.c * map.ty - map.tx * map.d);
    const auto plane = [determinant](double x, double y, double one) {
        return Plane{x / determinant, y / determinant, one / determinant};
    };
    const ProjectiveQuad quad(
        plane(map.d * depth.one - depth.y * map.ty, depth.y * map.tx - map.c * depth.one,
              map.c * map.ty - map.d * map.tx),
        plane(depth.x * map.ty - map.b * depth.one, map.a * depth.one - depth.x * map.tx,
              map.b * map.tx - map.a * map.ty),
        plane(map.b * depth.y - depth.x * map.d, depth.x * map.c - map.a * depth.y,
              map.a * map.d - map.b * map.c));
    for (const Plane &edge : quad._edges) {
        if (!std::isfinite(edge.x) || !std::isfinite(edge.y) || !std::isfinite(edge.one)) {
            return std::nullopt;
        }
    }
    return quad;
}

ProjectiveQuad::ProjectiveQuad(const Plane &u, const Plane &v, const Plane &w)
    : _u(u), _v(v), _w(w) {
    const auto rest = [&w](const Plane &p) { return Plane{w.x - p.x, w.y - p.y, w.one - p.one}; };
    _edges = {u, rest(u), v, rest(v)};
    for (Plane &edge : _edges) {
        const double steepness = std::hypot(edge.x, edge.y);
        // The whole device lies on one side of an edge at infinity.
        edge = steepness > 0 || std::isnan(steepness)
                   ? Plane{edge.x / steepness, edge.y / steepness, edge.one / steepness}
                   : Plane{0, 0, edge.one > 0 ? kFar : -kFar};
    }
}

/// The part of the clip that lies in the quad or at most half a pixel outside of it, because a
/// pixel whose centre lies there is still covered in part.
ProjectiveQuad::Polygon ProjectiveQuad::visiblePart(const DeviceRect &clip) const {
    const auto left = static_cast<CGFloat>(clip.left);
    const auto top = static_cast<CGFloat>(clip.top);
    const auto right = static_cast<CGFloat>(clip.right);
    const auto bottom = static_cast<CGFloat>(clip.bottom);
    Polygon polygon{{left, top}, {right, top}, {right, bottom}, {left, bottom}};
    Polygon next;
    for (const Plane &edge : _edges) {
        next.clear();
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            const CGPoint from = polygon[i];
            const CGPoint to = polygon[(i + 1) % polygon.size()];
            const double inside = edge.at(from.x, from.y) + 0.5;
            const double insideNext = edge.at(to.x, to.y) + 0.5;
            if (inside >= 0) {
                next.push_back(from);
            }
            if ((inside < 0) != (insideNext < 0)) {
                const double part = inside / (inside - insideNext);
                next.push_back({from.x + (to.x - from.x) * part, from.y + (to.y - from.y) * part});
            }
        }
        polygon.swap(next);
    }
    return polygon;
}

DeviceRect ProjectiveQuad::boundsWithin(const DeviceRect &clip) const {
    const Polygon polygon = clip.isEmpty() ? Polygon() : visiblePart(clip);
    if (polygon.empty()) {
        return {};
    }
    CGPoint low = polygon.front();
    CGPoint high = low;
    for (const CGPoint &corner : polygon) {
        low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
        high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
    }
    DeviceRect bounds = clip;
    keepWithin(low.x - 0.5 - kUnseen, high.x - 0.5 + kUnseen, bounds.left, bounds.right);
    keepWithin(low.y - 0.5 - kUnseen, high.y - 0.5 + kUnseen, bounds.top, bounds.bottom);
    return bounds;
}

bool ProjectiveQuad::coversWholly(const DeviceRect &area) const {
    return std::all_of(_edges.begin(), _edges.end(), [&area](const Plane &edge) {
        return area.everyCorner([&edge](int x, int y) { return edge.at(x + 0.5, y + 0.5) >= 0.5; });
    });
}

ProjectiveQuad::Span ProjectiveQuad::span(int y, int left, int right) const {
    double outerLow = left;
    double outerHigh = right;
    double innerLow = left;
    double innerHigh = right;
    for (const Plane &edge : _edges) {
        const double start = edge.at(0.5, y + 0.5);
        keepAtLeast(start, edge.x, -0.5, outerLow, outerHigh);
        keepAtLeast(start, edge.x, 0.5, innerLow, innerHigh);
    }
    Span span{left, 0, 0, right};
    keepWithin(outerLow, outerHigh, span.outerLeft, span.outerRight);
    span.innerLeft = span.outerLeft;
    span.innerRight = span.outerRight;
    keepWithin(innerLow, innerHigh, span.innerLeft, span.innerRight);
    return span;
}

double ProjectiveQuad::coverage(int x, int y) const {
    const auto distance = [&](std::size_t edge) { return _edges[edge].at(x + 0.5, y + 0.5); };
    return covered(distance(0), distance(1)) * covered(distance(2), distance(3));
}

CGSize ProjectiveQuad::unitsWithin(const DeviceRect &clip) const {
    const Polygon polygon = visiblePart(clip);
    CGPoint middle;
    for (const CGPoint &corner : polygon) {
        middle.x += corner.x / static_cast<CGFloat>(polygon.size());
        middle.y += corner.y / static_cast<CGFloat>(polygon.size());
    }
    const Place place = placeAt(middle.x, middle.y);
    const auto steepness = [&](const Plane &p, double value) {
        const double x = (p.x - value / place.w * _w.x) / place.w;
        const double y = (p.y - value / place.w * _w.y) / place.w;
        return std::hypot(x, y);
    };
    return {steepness(_u, place.u), steepness(_v, place.v)};
}
