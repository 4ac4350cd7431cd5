#pragma once

#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/QuartzCore/CALayer.h"

#include <optional>

/// A layer as it looks at a time: with its own values, or with those that its animations give. Must
/// not outlive them.
class PresentedLayer {
  public:
    explicit PresentedLayer(const CALayer &layer)
        : _layer(layer), _position(layer.positionInPlace()), _bounds(layer.boundsInPlace()),
          _transform(layer.transformInPlace()),
          _sublayerTransform(layer.sublayerTransformInPlace()), _opacity(layer.opacityInPlace()) {}

    PresentedLayer(const CALayer &layer, const LayerValues &animated)
        : _layer(layer), _position(animated.position), _bounds(animated.bounds),
          _transform(animated.transform), _sublayerTransform(animated.sublayerTransform),
          _opacity(animated.opacity) {}

    const CALayer &layer() const { return _layer; }
    const CGPoint &position() const { return _position; }
    const CGRect &bounds() const { return _bounds; }
    const CATransform3D &transform() const { return _transform; }
    const CATransform3D &sublayerTransform() const { return _sublayerTransform; }
    float opacity() const { return _opacity; }

  private:
    const CALayer &_layer;
    const CGPoint &_position;
    const CGRect &_bounds;
    const CATransform3D &_transform;
    const CATransform3D &_sublayerTransform;
    const float _opacity;
};

/// The distance of a plane's points (X, Y) from the viewer: x·X + y·Y + one. Where it is 1, sizes
/// are unchanged; where it is not above 0, a point is behind the viewer.
struct Depth {
    double x = 0;
    double y = 0;
    double one = 1;

    friend bool operator==(const Depth &, const Depth &) = default;

    /// Whether all points are equally far, so that the plane is not in perspective.
    bool isEven() const { return x == 0 && y == 0; }
};

/// Where the points of a layer's plane land on the device: a 3×3 matrix for row vectors (x y w),
/// which carries perspective along exactly. Sublayers are flattened into their layer's plane.
class Projection {
  public:
    /// The projection of the root, which ignores its position and transform: the top left corner of
    /// its bounds lies at the origin.
    Projection(const PresentedLayer &root, double scale);

    /// The projection of a sublayer of `layer`, which has the projection `parent`.
    Projection(const PresentedLayer &sublayer, const PresentedLayer &layer,
               const Projection &parent);

    bool isAffine() const { return depth().isEven(); }

    /// This projection as a map of the plane; only when isAffine(). None when the plane is not in
    /// front of the viewer, or a coordinate is not finite.
    std::optional<Affine> affine() const;

    /// The projection that takes the unit square to where this one takes the rectangle.
    Projection fromRect(const CGRect &rect) const;

    /// A point lands where the map takes it, divided by the depth.
    Affine map() const { return {_m[0][0], _m[0][1], _m[1][0], _m[1][1], _m[2][0], _m[2][1]}; }
    Depth depth() const { return {_m[0][2], _m[1][2], _m[2][2]}; }

  private:
    Projection() = default;

    double _m[3][3];
};
