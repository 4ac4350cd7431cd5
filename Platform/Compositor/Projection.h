#pragma once

#include "Platform/Compositor/Affine.h"
#include "Platform/Compositor/PresentedLayer.h"

#include <optional>

/// How far before the viewer the points of a plane lie, 1 being where sizes are true:
/// x·X + y·Y + one. What is not above 0 is behind the viewer.
struct Depth {
    double x = 0;
    double y = 0;
    double one = 1;

    friend bool operator==(const Depth &, const Depth &) = default;

    /// Nothing is nearer than anything else.
    bool isEven() const { return x == 0 && y == 0; }
};

/// Where the points of a layer's plane land on the device: a 3×3 matrix for row vectors (x y w), so
/// that perspective is carried along exactly. Sublayers are flattened into their layer's plane.
class Projection {
  public:
    /// The root's: the top left corner of its bounds lies at the origin, whatever its position and
    /// transform.
    Projection(const PresentedLayer &root, double scale);

    /// That of a sublayer of `layer`, whose own is `parent`.
    Projection(const PresentedLayer &sublayer, const PresentedLayer &layer,
               const Projection &parent);

    bool isAffine() const { return depth().isEven(); }

    /// The same as a map of the plane, when isAffine(). None when the plane is not in front of the
    /// viewer or lands nowhere.
    std::optional<Affine> affine() const;

    /// This projection after the rectangle was put in place of the unit square.
    Projection fromRect(const CGRect &rect) const;

    /// A point lands where the map takes it, divided by the depth.
    Affine map() const { return {_m[0][0], _m[0][1], _m[1][0], _m[1][1], _m[2][0], _m[2][1]}; }
    Depth depth() const { return {_m[0][2], _m[1][2], _m[2][2]}; }

  private:
    Projection() = default;

    double _m[3][3];
};
