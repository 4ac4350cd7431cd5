#include "Platform/Compositor/Projection.h"

namespace {

CGPoint anchorOf(const CALayer &layer) {
    const CGRect bounds = layer.bounds();
    const CGPoint anchor = layer.anchorPoint();
    return {bounds.origin.x + anchor.x * bounds.size.width,
            bounds.origin.y + anchor.y * bounds.size.height};
}

CATransform3D translation(CGFloat x, CGFloat y) {
    CATransform3D result = CATransform3DIdentity;
    result.m41 = x;
    result.m42 = y;
    return result;
}

// From the sublayer's plane into its superlayer's space.
CATransform3D transformInto(const CALayer &sublayer, const CALayer &layer) {
    const CGPoint anchor = anchorOf(sublayer);
    const CGPoint position = sublayer.position();
    const CATransform3D own =
        CATransform3DConcat(translation(-anchor.x, -anchor.y), sublayer.transformInPlace());
    const CATransform3D &sublayers = layer.sublayerTransformInPlace();
    if (sublayers == CATransform3DIdentity) {
        return CATransform3DConcat(own, translation(position.x, position.y));
    }
    const CGPoint centre = anchorOf(layer);
    const CATransform3D placed =
        CATransform3DConcat(own, translation(position.x - centre.x, position.y - centre.y));
    return CATransform3DConcat(CATransform3DConcat(placed, sublayers),
                               translation(centre.x, centre.y));
}

} // namespace

Projection::Projection(const CALayer &root, double scale)
    : _m{{scale, 0, 0},
         {0, scale, 0},
         {-root.bounds().origin.x * scale, -root.bounds().origin.y * scale, 1}} {}

Projection::Projection(const CALayer &sublayer, const CALayer &layer, const Projection &parent) {
    const CATransform3D t = transformInto(sublayer, layer);
    const double plane[3][3] = {
        {t.m11, t.m12, t.m14}, {t.m21, t.m22, t.m24}, {t.m41, t.m42, t.m44}};
    for (int row = 0; row < 3; row++) {
        for (int column = 0; column < 3; column++) {
            _m[row][column] = plane[row][0] * parent._m[0][column] +
                              plane[row][1] * parent._m[1][column] +
                              plane[row][2] * parent._m[2][column];
        }
    }
}

std::optional<Affine> Projection::affineNear(CGPoint point) const {
    const double w = point.x * _m[0][2] + point.y * _m[1][2] + _m[2][2];
    if (!(w > 0)) {
        return std::nullopt;
    }
    const double x = (point.x * _m[0][0] + point.y * _m[1][0] + _m[2][0]) / w;
    const double y = (point.x * _m[0][1] + point.y * _m[1][1] + _m[2][1]) / w;
    Affine result{(_m[0][0] - x * _m[0][2]) / w,
                  (_m[0][1] - y * _m[0][2]) / w,
                  (_m[1][0] - x * _m[1][2]) / w,
                  (_m[1][1] - y * _m[1][2]) / w,
                  0,
                  0};
    if (_m[0][2] == 0 && _m[1][2] == 0) {
        result.tx = _m[2][0] / w;
        result.ty = _m[2][1] / w;
    } else {
        result.tx = x - point.x * result.a - point.y * result.c;
        result.ty = y - point.x * result.b - point.y * result.d;
    }
    return result.isFinite() ? std::optional(result) : std::nullopt;
}
