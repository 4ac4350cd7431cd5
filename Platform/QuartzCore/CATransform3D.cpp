#include "Platform/QuartzCore/CATransform3D.h"

#include <cmath>

namespace {

/// About (0, 0, 1), the axis of nearly all rotations: a fast path.
CATransform3D rotationInPlane(CGFloat angle) {
    double s, c;
    sincos(angle, &s, &c);
    CATransform3D result = CATransform3DIdentity;
    result.m11 = c;
    result.m12 = s;
    result.m21 = -s;
    result.m22 = c;
    return result;
}

/// The axis must have length 1.
CATransform3D rotationAbout(CGFloat ax, CGFloat ay, CGFloat az, CGFloat angle) {
    const CGFloat s = std::sin(angle);
    const CGFloat c = std::cos(angle);
    const CGFloat t = 1 - c;
    CATransform3D result = CATransform3DIdentity;
    result.m11 = c + ax * ax * t;
    result.m12 = ax * ay * t + az * s;
    result.m13 = ax * az * t - ay * s;
    result.m21 = ax * ay * t - az * s;
    result.m22 = c + ay * ay * t;
    result.m23 = ay * az * t + ax * s;
    result.m31 = ax * az * t + ay * s;
    result.m32 = ay * az * t - ax * s;
    result.m33 = c + az * az * t;
    return result;
}

} // namespace

CATransform3D CATransform3DMakeTranslation(CGFloat x, CGFloat y, CGFloat z) {
    CATransform3D result = CATransform3DIdentity;
    result.m41 = x;
    result.m42 = y;
    result.m43 = z;
    return result;
}

CATransform3D CATransform3DMakeScale(CGFloat x, CGFloat y, CGFloat z) {
    CATransform3D result = CATransform3DIdentity;
    result.m11 = x;
    result.m22 = y;
    result.m33 = z;
    return result;
}

CATransform3D CATransform3DMakeRotation(CGFloat angle, CGFloat x, CGFloat y, CGFloat z) {
    if (x == 0 && y == 0 && z > 0) {
        return rotationInPlane(angle);
    }
    const CGFloat length = std::hypot(x, y, z);
    if (!(length > 0)) {
        return CATransform3DIdentity;
    }
    return rotationAbout(x / length, y / length, z / length, angle);
}

CATransform3D CATransform3DConcat(const CATransform3D &a, const CATransform3D &b) {
    CATransform3D r;
    r.m11 = a.m11 * b.m11 + a.m12 * b.m21 + a.m13 * b.m31 + a.m14 * b.m41;
    r.m12 = a.m11 * b.m12 + a.m12 * b.m22 + a.m13 * b.m32 + a.m14 * b.m42;
    r.m13 = a.m11 * b.m13 + a.m12 * b.m23 + a.m13 * b.m33 + a.m14 * b.m43;
    r.m14 = a.m11 * b.m14 + a.m12 * b.m24 + a.m13 * b.m34 + a.m14 * b.m44;
    r.m21 = a.m21 * b.m11 + a.m22 * b.m21 + a.m23 * b.m31 + a.m24 * b.m41;
    r.m22 = a.m21 * b.m12 + a.m22 * b.m22 + a.m23 * b.m32 + a.m24 * b.m42;
    r.m23 = a.m21 * b.m13 + a.m22 * b.m23 + a.m23 * b.m33 + a.m24 * b.m43;
    r.m24 = a.m21 * b.m14 + a.m22 * b.m24 + a.m23 * b.m34 + a.m24 * b.m44;
    r.m31 = a.m31 * b.m11 + a.m32 * b.m21 + a.m33 * b.m31 + a.m34 * b.m41;
    r.m32 = a.m31 * b.m12 + a.m32 * b.m22 + a.m33 * b.m32 + a.m34 * b.m42;
    r.m33 = a.m31 * b.m13 + a.m32 * b.m23 + a.m33 * b.m33 + a.m34 * b.m43;
    r.m34 = a.m31 * b.m14 + a.m32 * b.m24 + a.m33 * b.m34 + a.m34 * b.m44;
    r.m41 = a.m41 * b.m11 + a.m42 * b.m21 + a.m43 * b.m31 + a.m44 * b.m41;
    r.m42 = a.m41 * b.m12 + a.m42 * b.m22 + a.m43 * b.m32 + a.m44 * b.m42;
    r.m43 = a.m41 * b.m13 + a.m42 * b.m23 + a.m43 * b.m33 + a.m44 * b.m43;
    r.m44 = a.m41 * b.m14 + a.m42 * b.m24 + a.m43 * b.m34 + a.m44 * b.m44;
    return r;
}

CATransform3D CATransform3DTranslate(const CATransform3D &transform, CGFloat x, CGFloat y,
                                     CGFloat z) {
    return CATransform3DConcat(CATransform3DMakeTranslation(x, y, z), transform);
}

CATransform3D CATransform3DScale(const CATransform3D &transform, CGFloat x, CGFloat y, CGFloat z) {
    return CATransform3DConcat(CATransform3DMakeScale(x, y, z), transform);
}

CATransform3D CATransform3DRotate(const CATransform3D &transform, CGFloat angle, CGFloat x,
                                  CGFloat y, CGFloat z) {
    return CATransform3DConcat(CATransform3DMakeRotation(angle, x, y, z), transform);
}
