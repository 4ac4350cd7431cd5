#pragma once

#include "Platform/QuartzCore/CALayer.h"

/// A layer as it looks at a time: with its own values, or with those that its animations give. Must
/// not outlive them.
class PresentedLayer {
  public:
    explicit PresentedLayer(const CALayer &layer)
        : _layer(layer), _position(layer.positionInPlace()), _bounds(layer.boundsInPlace()),
          _transform(layer.transformInPlace()),
          _sublayerTransform(layer.sublayerTransformInPlace()), _opacity(layer.opacityInPlace()) {}

    PresentedLayer(const CALayer &layer, const CALayerValues &animated)
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
