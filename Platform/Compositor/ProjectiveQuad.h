#pragma once

#include "Platform/Compositor/DeviceRect.h"
#include "Platform/Compositor/Projection.h"

#include <array>
#include <optional>
#include <vector>

/// A rectangle in perspective: what the device shows of its part in front of the viewer. A pixel is
/// covered as in a DeviceQuad, by the part that lies between two opposite edges, over both pairs of
/// edges; no corner need be on the device, nor even in front of the viewer.
class ProjectiveQuad {
  public:
    /// A point of the device as one of the unit square: (u / w, v / w), in front of the viewer
    /// where w is above 0.
    struct Place {
        double u;
        double v;
        double w;
    };

    /// A row's pixels [outerLeft, outerRight) that may be covered, and those of them, [innerLeft,
    /// innerRight), that wholly are.
    struct Span {
        int outerLeft;
        int innerLeft;
        int innerRight;
        int outerRight;
    };

    /// The unit square, placed by the map divided by the depth. None when it is seen edge on, is
    /// empty, or is nowhere.
    static std::optional<ProjectiveQuad> make(const Affine &map, const Depth &depth);

    Place placeAt(double x, double y) const { return {_u.at(x, y), _v.at(x, y), _w.at(x, y)}; }

    /// The pixels of `clip` that may be covered.
    DeviceRect boundsWithin(const DeviceRect &clip) const;

    /// Every pixel of the area is wholly covered.
    bool coversWholly(const DeviceRect &area) const;

    Span span(int y, int left, int right) const;

    /// From 0 to 1, of the pixel with its centre at (x, y) of the device.
    double coverage(double x, double y) const;

    /// How much of the unit square's width and height one pixel takes at the middle of what is seen
    /// within `clip`.
    CGSize unitsWithin(const DeviceRect &clip) const;

  private:
    /// x·X + y·Y + one over the device.
    struct Plane {
        double x = 0;
        double y = 0;
        double one = 0;

        double at(double deviceX, double deviceY) const { return x * deviceX + y * deviceY + one; }
    };

    using Polygon = std::vector<CGPoint>;

    ProjectiveQuad(const Plane &u, const Plane &v, const Plane &w);

    Polygon visiblePart(const DeviceRect &clip) const;

    Plane _u;
    Plane _v;
    Plane _w;

    // Pixels from each edge, inward: left, right, top, bottom.
    std::array<Plane, 4> _edges;
};
