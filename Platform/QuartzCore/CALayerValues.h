#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/QuartzCore/CATransform3D.h"

/// What of a layer can be animated.
struct CALayerValues {
    CGPoint position;
    CGRect bounds;
    float opacity = 1;
    CATransform3D transform = CATransform3DIdentity;
    CATransform3D sublayerTransform = CATransform3DIdentity;

    friend bool operator==(const CALayerValues &, const CALayerValues &) = default;
};
