#pragma once

#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CATransform3D.h"

#include <string>
#include <variant>

/// A start or end value of a property animation: none, a number, or a value of the property's type.
using AnimationValue = std::variant<std::monostate, float, double, CGPoint, CGRect, CATransform3D>;

/// Changes one property of a layer linearly from one value to another. Without a from value it
/// starts at the value shown; with neither value, at the value shown before the property was
/// changed in the same call-out. Without a to value it ends at the property's own value at that
/// time.
///
/// Key paths: "position" (points), "bounds" (rectangles), "opacity" (numbers), "transform" and
/// "sublayerTransform" (transforms, each element by itself); and of a transform
/// "transform.translation" (points), "transform.scale" (a number for all axes),
/// "transform.rotation" and "transform.rotation.z" (radians about z, the rest of the transform
/// stays) and "sublayerTransform.rotation.x" (radians about x, perspective stays). Under any other
/// key path, or with a value that is not of its type, nothing is shown.
class PLATFORM_EXPORT CABasicAnimation final : public CAAnimation {
  public:
    static Retained<CABasicAnimation> animationWithKeyPath(std::string keyPath);

    const std::string &keyPath() const { return _keyPath; }

    const AnimationValue &fromValue() const { return _fromValue; }
    void setFromValue(const AnimationValue &value) { _fromValue = value; }

    const AnimationValue &toValue() const { return _toValue; }
    void setToValue(const AnimationValue &value) { _toValue = value; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    explicit CABasicAnimation(std::string keyPath) : _keyPath(std::move(keyPath)) {}
    ~CABasicAnimation() override = default;

    const std::string _keyPath;
    AnimationValue _fromValue;
    AnimationValue _toValue;
};
