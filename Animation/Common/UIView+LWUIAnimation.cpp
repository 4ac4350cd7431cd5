#include "Animation/Common/UIView+LWUIAnimation.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using std::numbers::pi;

constexpr CGFloat kPerspective = -0.002;

/// Converts a repeat count to single precision; too large ones become infinite.
float countFrom(double count) {
    using Limits = std::numeric_limits<float>;
    const bool isBeyond = std::fabs(count) > static_cast<double>(Limits::max());
    return static_cast<float>(isBeyond ? count * Limits::infinity() : count);
}

void add(UIView *view, const Retained<CABasicAnimation> &animation, const char *key) {
    if (view) {
        view->layer()->addAnimation_forKey(animation.get(), key);
    }
}

Retained<CABasicAnimation> make(const char *keyPath, double duration, double repeatCount,
                                bool autoreverses) {
    auto animation = CABasicAnimation::animationWithKeyPath(keyPath);
    animation->setDuration(duration);
    animation->setRepeatCount(countFrom(repeatCount));
    animation->setAutoreverses(autoreverses);
    return animation;
}

Retained<CABasicAnimation> create(const char *keyPath, UIView *view, CAAnimationDelegate *target,
                                  double duration, std::uint64_t repeatCount, bool autoreverses) {
    auto animation = CABasicAnimation::animationWithKeyPath(keyPath);
    LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
        view, animation.get(), target, duration, repeatCount, autoreverses);
    return animation;
}

/// Set when the library is loaded, so that translations of all views are handled.
const bool isHandlerSet = [] {
    UIView::setAnimationStopHandler(LWUIAnimation::animationDidStop_finished);
    return true;
}();

} // namespace

void LWUIAnimation::animationDidStop_finished(UIView *view, CAAnimation *animation, bool) {
    CALayer *layer = view ? view->layer() : nullptr;
    if (!layer || !animation || !(layer->animationForKey("translation") == animation)) {
        return;
    }
    layer->removeAnimationForKey("translation");
    CATransform3D transform = layer->transform();
    const CGPoint center = view->center();
    view->setCenter({center.x + transform.m41, center.y + transform.m42});
    transform.m41 = 0;
    transform.m42 = 0;
    layer->setTransform(transform);
    // The view is shown where it was, and a further animation in this call-out must begin there.
    layer->keepShownPlace();
}

void LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
    UIView *, CAAnimation *animation, CAAnimationDelegate *target, double,
    std::uint64_t repeatCount, bool autoreverses) {
    if (!animation) {
        return;
    }
    animation->setRepeatCount(static_cast<float>(repeatCount));
    animation->setDelegate(target);
    animation->setAutoreverses(autoreverses);
    animation->setRemovedOnCompletion(target == nullptr);
}

Retained<CABasicAnimation>
LWUIAnimation::createTranslationAnimationWithTarget_duration_repeatCount_autoreverses(
    UIView *view, CAAnimationDelegate *target, double duration, std::uint64_t repeatCount,
    bool autoreverses) {
    return create("transform.translation", view, target, duration, repeatCount, autoreverses);
}

Retained<CABasicAnimation>
LWUIAnimation::createAlphaAnimationWithTarget_duration_repeatCount_autoreverses(
    UIView *view, CAAnimationDelegate *target, double duration, std::uint64_t repeatCount,
    bool autoreverses) {
    return create("opacity", view, target, duration, repeatCount, autoreverses);
}

Retained<CABasicAnimation>
LWUIAnimation::createRotationAnimationWithTarget_duration_repeatCount_autoreverses(
    UIView *view, CAAnimationDelegate *target, double duration, std::uint64_t repeatCount,
    bool autoreverses) {
    return create("transform.rotation.z", view, target, duration, repeatCount, autoreverses);
}

Retained<CAAnimationGroup>
LWUIAnimation::createAnimationGroupWithTarget(UIView *, CAAnimationDelegate *target) {
    auto group = CAAnimationGroup::animation();
    group->setDelegate(target);
    return group;
}

void LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
    UIView *view, CGPoint destination, double duration, double repeatCount, bool autoreverses) {
    if (!view) {
        return;
    }
    const auto animation = make("transform.translation", duration, repeatCount, autoreverses);
    animation->setDelegate(view);
    const CATransform3D t = view->layer()->transform();
    const CGFloat dx = destination.x - view->center().x - t.m41;
    const CGFloat dy = destination.y - view->center().y - t.m42;
    view->layer()->setTransform(CATransform3DTranslate(t, dx, dy, 0));
    add(view, animation, "translation");
}

void LWUIAnimation::setScaleAnimation_duration_repeatCount(UIView *view, CGFloat scale,
                                                           double duration, double repeatCount) {
    const auto animation = make("transform.scale", duration, repeatCount, true);
    animation->setToValue(static_cast<float>(scale));
    add(view, animation, "scale");
}

void LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(
    UIView *view, double startAngle, double endAngle, double duration, double repeatCount) {
    const auto animation = make("transform.rotation.z", duration, repeatCount, true);
    animation->setFromValue(static_cast<float>(startAngle * pi / 180));
    animation->setToValue(static_cast<float>(endAngle * pi / 180));
    add(view, animation, "rotation");
}

void LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(UIView *view, CGPoint,
                                                                    double angle, double duration,
                                                                    double repeatCount) {
    const auto animation = make("transform.rotation", duration, repeatCount, false);
    animation->setToValue(angle * -pi / 180);
    add(view, animation, "rotation");
}

void LWUIAnimation::setPerspectiveEffectAnimation_duration(UIView *view, bool on, double duration) {
    if (!view) {
        return;
    }
    CATransform3D t = view->layer()->sublayerTransform();
    if (on) {
        t.m34 = kPerspective;
    }
    t = CATransform3DRotate(t, on ? pi / 4 : -pi / 4, 1, 0, 0);
    view->layer()->setSublayerTransform(t);
    add(view, make("sublayerTransform.rotation.x", duration, 0, false), "perspective");
}

void LWUIAnimation::setAlphaAnimationDuration_repeatCount(UIView *view, double duration,
                                                          double repeatCount) {
    const auto animation = make("opacity", duration, repeatCount, true);
    animation->setToValue(0.0);
    animation->setDelegate(view);
    add(view, animation, "opacity");
}
