#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

#include <cmath>

/// Maps (x, y) to (a·x + c·y + tx, b·x + d·y + ty).
struct CGAffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    friend bool operator==(const CGAffineTransform &, const CGAffineTransform &) = default;
};

/// Applies `first`, then `second`.
constexpr CGAffineTransform CGAffineTransformConcat(const CGAffineTransform &first,
                                                    const CGAffineTransform &second) {
    return {first.a * second.a + first.b * second.c,
            first.a * second.b + first.b * second.d,
            first.c * second.a + first.d * second.c,
            first.c * second.b + first.d * second.d,
            first.tx * second.a + first.ty * second.c + second.tx,
            first.tx * second.b + first.ty * second.d + second.ty};
}

constexpr CGPoint CGPointApplyAffineTransform(CGPoint point, const CGAffineTransform &t) {
    return {static_cast<CGFloat>(t.a * point.x + t.c * point.y + t.tx),
            static_cast<CGFloat>(t.b * point.x + t.d * point.y + t.ty)};
}

/// Device coordinates beyond this lie outside every bitmap and overflow cairo's fixed-point
/// numbers.
inline constexpr double kMaxCoordinate = 4e6;

/// True when the transform is invertible and no element exceeds kMaxCoordinate or is NaN.
inline bool isDrawable(const CGAffineTransform &t) {
    const double values[] = {t.a, t.b, t.c, t.d, t.tx, t.ty};
    for (const double value : values) {
        if (!(std::fabs(value) <= kMaxCoordinate)) {
            return false;
        }
    }
    const double determinant = t.a * t.d - t.b * t.c;
    return determinant != 0 && std::isfinite(1 / determinant);
}
