#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSTypes.h"

/// A 4×4 transform for row vectors: (x y z 1) × matrix, so the translation is in the fourth row.
/// A default-constructed transform is all zero.
struct CATransform3D {
    CGFloat m11 = 0, m12 = 0, m13 = 0, m14 = 0;
    CGFloat m21 = 0, m22 = 0, m23 = 0, m24 = 0;
    CGFloat m31 = 0, m32 = 0, m33 = 0, m34 = 0;
    CGFloat m41 = 0, m42 = 0, m43 = 0, m44 = 0;
    friend bool operator==(const CATransform3D &, const CATransform3D &) = default;
};

inline constexpr CATransform3D CATransform3DIdentity{1, 0, 0, 0, 0, 1, 0, 0,
                                                     0, 0, 1, 0, 0, 0, 0, 1};

PLATFORM_EXPORT CATransform3D CATransform3DMakeTranslation(CGFloat x, CGFloat y, CGFloat z);
PLATFORM_EXPORT CATransform3D CATransform3DMakeScale(CGFloat x, CGFloat y, CGFloat z);

/// Rotation by `angle` radians about the axis (x, y, z), which need not have length 1; a zero axis
/// gives the identity. About (0, 0, 1) a positive angle turns clockwise on screen.
PLATFORM_EXPORT CATransform3D CATransform3DMakeRotation(CGFloat angle, CGFloat x, CGFloat y,
                                                        CGFloat z);

/// Applies `first`, then `second`.
PLATFORM_EXPORT CATransform3D CATransform3DConcat(const CATransform3D &first,
                                                  const CATransform3D &second);

/// Put an operation before `transform`: operation × transform.
PLATFORM_EXPORT CATransform3D CATransform3DTranslate(const CATransform3D &transform, CGFloat x,
                                                     CGFloat y, CGFloat z);
PLATFORM_EXPORT CATransform3D CATransform3DScale(const CATransform3D &transform, CGFloat x,
                                                 CGFloat y, CGFloat z);
PLATFORM_EXPORT CATransform3D CATransform3DRotate(const CATransform3D &transform, CGFloat angle,
                                                  CGFloat x, CGFloat y, CGFloat z);
