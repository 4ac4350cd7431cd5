#pragma once

#include "Platform/Compositor/Affine.h"
#include "Platform/QuartzCore/CALayer.h"

#include <optional>

/// Where the points of a layer's plane land on the device: a 3×3 matrix for row vectors (x y w), so
/// that perspective is carried along exactly. Sublayers are flattened into their layer's plane.
class Projection {
  public:
    /// The root's: the top left corner of its bounds lies at the origin, whatever its position and
    /// transform.
    Projection(const CALayer &root, double scale);

    /// That of a sublayer of `layer`, whose own is `parent`.
    Projection(const CALayer &sublayer, const CALayer &layer, const Projection &parent);

    /// The affine map that equals the projection at and near `point`: everywhere, when there is no
    /// perspective. None when the point is not in front of the viewer or lands nowhere.
    std::optional<Affine> affineNear(CGPoint point) const;

  private:
    double _m[3][3];
};
