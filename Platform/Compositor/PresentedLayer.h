#pragma once

#include "Platform/QuartzCore/CALayer.h"

#include <optional>

/// A layer as it looks at a time: its own values, or those that its animations give.
class PresentedLayer {
  public:
    PresentedLayer(const CALayer &layer, NSTimeInterval time) : _layer(layer) {
        if (layer.mayBeAnimated()) {
            _isInProgress = layer.present(time, _animated.emplace());
        }
    }

    const CALayer &layer() const { return _layer; }
    CGPoint position() const { return _animated ? _animated->position : _layer.position(); }
    CGRect bounds() const { return _animated ? _animated->bounds : _layer.bounds(); }
    float opacity() const { return _animated ? _animated->opacity : _layer.opacity(); }
    const CATransform3D &transform() const {
        return _animated ? _animated->transform : _layer.transformInPlace();
    }
    const CATransform3D &sublayerTransform() const {
        return _animated ? _animated->sublayerTransform : _layer.sublayerTransformInPlace();
    }

    /// It will look different soon.
    bool isInProgress() const { return _isInProgress; }

  private:
    const CALayer &_layer;
    std::optional<CALayerValues> _animated;
    bool _isInProgress = false;
};
