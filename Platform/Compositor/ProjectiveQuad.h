#pragma once

#include "Platform/Compositor/Projection.h"

#include <array>
#include <optional>
#include <vector>

/// A rectangle in perspective: what the device shows of its part in front of the viewer. Coverage
/// is computed as for a DeviceQuad: the product over both pairs of opposite edges of the part
/// between them. The corners may lie off the device and behind the viewer.
class ProjectiveQuad {
  public:
    /// A point of the device as one of the unit square: (u / w, v / w), in front of the viewer
    /// where w is above 0.
    struct Place {
        double u;
        double v;
        double w;
    };

    using Span = DeviceQuad::Span;

    /// The unit square, placed by the map divided by the depth. None when it is seen edge on, has
    /// no area, or a coordinate is not finite.
    static std::optional<ProjectiveQuad> make(const Affine &map, const Depth &depth);

    /// The place of a pixel's centre.
    Place placeOf(int x, int y) const { return placeAt(x + 0.5, y + 0.5); }

    /// The pixels of `clip` that may be covered.
    DeviceRect boundsWithin(const DeviceRect &clip) const;

    /// Whether every pixel of the area, which is not empty, is covered wholly.
    bool coversWholly(const DeviceRect &area) const;

    /// The span of row y within [left, right).
    Span span(int y, int left, int right) const;

    /// Coverage of a pixel, from 0 to 1.
    double coverage(int x, int y) const;

    /// The part of the unit square's width and height that one pixel takes, at the middle of what
    /// is seen within `clip`.
    CGSize unitsWithin(const DeviceRect &clip) const;

  private:
    /// The function x·X + y·Y + one of a point (X, Y) of the device.
    struct Plane {
        double x = 0;
        double y = 0;
        double one = 0;

        double at(double deviceX, double deviceY) const { return x * deviceX + y * deviceY + one; }
    };

    using Polygon = std::vector<CGPoint>;

    ProjectiveQuad(const Plane &u, const Plane &v, const Plane &w);

    Place placeAt(double x, double y) const { return {_u.at(x, y), _v.at(x, y), _w.at(x, y)}; }
    Polygon visiblePart(const DeviceRect &clip) const;

    Plane _u;
    Plane _v;
    Plane _w;

    // Distance from each edge in pixels, positive inside: left, right, top, bottom.
    std::array<Plane, 4> _edges;
};
