#include "Platform/QuartzCore/LayerKeyPath.h"

#include <bit>
#include <cmath>

namespace {

CGFloat length(CGFloat x, CGFloat y, CGFloat z) { return std::sqrt(x * x + y * y + z * z); }

/// Scales one axis of a transform to the wanted length; an axis of length 0 is first turned along
/// its own coordinate.
void setLength(CGFloat wanted, CGFloat &x, CGFloat &y, CGFloat &z, CGFloat &own) {
    const CGFloat present = length(x, y, z);
    if (present > 0) {
        const CGFloat factor = wanted / present;
        x *= factor;
        y *= factor;
        z *= factor;
    } else {
        own = wanted;
    }
}

/// A rotation by the angle of this cosine and sine.
struct Turn {
    CGFloat c;
    CGFloat s;
};

/// The rotation that takes the direction (x, y) to `angle`; of (0, 0), the rotation by `angle`.
Turn turnTo(CGFloat angle, CGFloat x, CGFloat y) {
    const CGFloat present = std::sqrt(x * x + y * y);
    const Turn wanted{std::cos(angle), std::sin(angle)};
    if (!(present > 0)) {
        return wanted;
    }
    const Turn own{x / present, y / present};
    return {wanted.c * own.c + wanted.s * own.s, wanted.s * own.c - wanted.c * own.s};
}

/// Turns a row of a transform about z, as a rotation after the rest of the transform does.
void turnRow(const Turn &turn, CGFloat &x, CGFloat &y) {
    const CGFloat before = x;
    x = before * turn.c - y * turn.s;
    y = before * turn.s + y * turn.c;
}

void setRotation(CGFloat angle, CATransform3D &t) {
    const Turn turn = turnTo(angle, t.m11, t.m12);
    turnRow(turn, t.m11, t.m12);
    turnRow(turn, t.m21, t.m22);
    turnRow(turn, t.m31, t.m32);
}

/// Puts the rotation about x before the rest of the transform, as perspective requires.
void setRotationX(CGFloat angle, CATransform3D &t) {
    const Turn turn = turnTo(angle, t.m22, t.m23);
    const auto mix = [&turn](CGFloat &second, CGFloat &third) {
        const CGFloat before = second;
        second = before * turn.c + third * turn.s;
        third = third * turn.c - before * turn.s;
    };
    mix(t.m21, t.m31);
    mix(t.m22, t.m32);
    mix(t.m23, t.m33);
    mix(t.m24, t.m34);
}

void setScale(const AnimationComponents &scale, CATransform3D &t) {
    setLength(scale[0], t.m11, t.m12, t.m13, t.m11);
    setLength(scale[1], t.m21, t.m22, t.m23, t.m22);
    setLength(scale[2], t.m31, t.m32, t.m33, t.m33);
}

} // namespace

std::optional<LayerKeyPath> LayerKeyPath::parse(std::string_view text) {
    static constexpr struct {
        std::string_view text;
        Kind kind;
    } kKnown[] = {
        {"position", Kind::Position},
        {"bounds", Kind::Bounds},
        {"opacity", Kind::Opacity},
        {"transform", Kind::Transform},
        {"sublayerTransform", Kind::SublayerTransform},
        {"transform.translation", Kind::Translation},
        {"transform.scale", Kind::Scale},
        {"transform.rotation", Kind::Rotation},
        {"transform.rotation.z", Kind::Rotation},
        {"sublayerTransform.rotation.x", Kind::SublayerRotationX},
    };
    for (const auto &known : kKnown) {
        if (known.text == text) {
            return LayerKeyPath(known.kind);
        }
    }
    return std::nullopt;
}

std::size_t LayerKeyPath::count() const {
    static constexpr std::size_t kCounts[] = {2, 4, 1, 16, 16, 2, 3, 1, 1};
    return kCounts[static_cast<std::size_t>(_kind)];
}

AnimationComponents LayerKeyPath::read(const LayerValues &values) const {
    const CATransform3D &t = values.transform;
    switch (_kind) {
    case Kind::Position:
        return {values.position.x, values.position.y};
    case Kind::Bounds:
        return {values.bounds.origin.x, values.bounds.origin.y, values.bounds.size.width,
                values.bounds.size.height};
    case Kind::Opacity:
        return {static_cast<CGFloat>(values.opacity)};
    case Kind::Transform:
        return std::bit_cast<AnimationComponents>(t);
    case Kind::SublayerTransform:
        return std::bit_cast<AnimationComponents>(values.sublayerTransform);
    case Kind::Translation:
        return {t.m41, t.m42};
    case Kind::Scale:
        return {length(t.m11, t.m12, t.m13), length(t.m21, t.m22, t.m23),
                length(t.m31, t.m32, t.m33)};
    case Kind::Rotation:
        return {std::atan2(t.m12, t.m11)};
    case Kind::SublayerRotationX:
        return {std::atan2(values.sublayerTransform.m23, values.sublayerTransform.m22)};
    }
    return {};
}

void LayerKeyPath::write(const AnimationComponents &c, LayerValues &values) const {
    switch (_kind) {
    case Kind::Position:
        values.position = {c[0], c[1]};
        break;
    case Kind::Bounds:
        values.bounds = {{c[0], c[1]}, {c[2] > 0 ? c[2] : 0, c[3] > 0 ? c[3] : 0}};
        break;
    case Kind::Opacity:
        values.opacity = static_cast<float>(c[0]);
        break;
    case Kind::Transform:
        values.transform = std::bit_cast<CATransform3D>(c);
        break;
    case Kind::SublayerTransform:
        values.sublayerTransform = std::bit_cast<CATransform3D>(c);
        break;
    case Kind::Translation:
        values.transform.m41 = c[0];
        values.transform.m42 = c[1];
        break;
    case Kind::Scale:
        setScale(c, values.transform);
        break;
    case Kind::Rotation:
        setRotation(c[0], values.transform);
        break;
    case Kind::SublayerRotationX:
        setRotationX(c[0], values.sublayerTransform);
        break;
    }
}

std::optional<AnimationComponents> LayerKeyPath::componentsOf(const AnimationValue &value) const {
    const auto *single = std::get_if<float>(&value);
    const auto *number = std::get_if<double>(&value);
    if (_kind == Kind::Position || _kind == Kind::Translation) {
        const auto *point = std::get_if<CGPoint>(&value);
        return point ? std::optional<AnimationComponents>({point->x, point->y}) : std::nullopt;
    }
    if (_kind == Kind::Bounds) {
        const auto *rect = std::get_if<CGRect>(&value);
        return rect ? std::optional<AnimationComponents>(
                          {rect->origin.x, rect->origin.y, rect->size.width, rect->size.height})
                    : std::nullopt;
    }
    if (_kind == Kind::Transform || _kind == Kind::SublayerTransform) {
        const auto *transform = std::get_if<CATransform3D>(&value);
        return transform ? std::optional(std::bit_cast<AnimationComponents>(*transform))
                         : std::nullopt;
    }
    if (!single && !number) {
        return std::nullopt;
    }
    const auto n = static_cast<CGFloat>(number ? *number : static_cast<double>(*single));
    return AnimationComponents{n, n, n};
}
