#include "Platform/Compositor/Projection.h"

namespace {

CGPoint anchorOf(const PresentedLayer &layer) {
    const CGRect bounds = layer.bounds();
    const CGPoint anchor = layer.layer().anchorPoint();
    return {bounds.origin.x + anchor.x * bounds.size.width,
            bounds.origin.y + anchor.y * bounds.size.height};
}

CATransform3D translation(CGFloat x, CGFloat y) {
    CATransform3D result = CATransform3DIdentity;
    result.m41 = x;
    result.m42 = y;
    return result;
}

/// Takes a point of the sublayer to its superlayer.
CATransform3D transformInto(const PresentedLayer &sublayer, const PresentedLayer &layer) {
    const CGPoint anchor = anchorOf(sublayer);
    const CGPoint position = sublayer.position();
    const CATransform3D own =
        CATransform3DConcat(translation(-anchor.x, -anchor.y), sublayer.transform());
    const CATransform3D &sublayers = layer.sublayerTransform();
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

Projection::Projection(const PresentedLayer &root, double scale)
    : _m{{scale, 0, 0},
         {0, scale, 0},
         {-root.bounds().origin.x * scale, -root.bounds().origin.y * scale, 1}} {}

Projection::Projection(const PresentedLayer &sublayer, const PresentedLayer &layer,
                       const Projection &parent) {
    const CATransform3D t = transformInto(sublayer, layer);
    const double plane[3][3] = {
        {t.m11, t.m12, t.m14}, {t.m21, t.m22, t.m24}, {t.m41, t.m42, t.m44}};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            _m[row][column] = plane[row][0] * parent._m[0][column] +
                              plane[row][1] * parent._m[1][column] +
                              plane[row][2] * parent._m[2][column];
        }
    }
}

std::optional<Affine> Projection::affine() const {
    const double w = _m[2][2];
    if (!(w > 0)) {
        return std::nullopt;
    }
    Affine result = map();
    if (w != 1) {
        result = {result.a / w, result.b / w,  result.c / w,
                  result.d / w, result.tx / w, result.ty / w};
    }
    return result.isFinite() ? std::optional(result) : std::nullopt;
}

Projection Projection::fromRect(const CGRect &rect) const {
    Projection result;
    for (int column = 0; column < 3; ++column) {
        result._m[0][column] = rect.size.width * _m[0][column];
        result._m[1][column] = rect.size.height * _m[1][column];
        result._m[2][column] =
            rect.origin.x * _m[0][column] + rect.origin.y * _m[1][column] + _m[2][column];
    }
    return result;
}
