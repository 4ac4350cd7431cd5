#include "Card.h"

#include <numbers>

namespace {

/// Moves from place to place, without autoreverse.
Exhibit translate() {
    constexpr double kDuration = 0.8;
    const auto to = [](double x, double y) {
        return [x, y](Card &card) {
            LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
                &card.flower(), card.place(x, y), kDuration, 1, false);
        };
    };
    return {.caption = "translate",
            .period = 3,
            .restX = -0.26,
            .steps = {{0, to(0.26, -0.14)}, {1, to(0.26, 0.14)}, {2, to(-0.26, 0)}}};
}

/// One and a half passes end at the destination.
Exhibit translateBackAndForth() {
    constexpr double kDuration = 0.5, kCount = 1.5;
    const auto there = [](Card &card) {
        LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
            &card.flower(), card.place(0.26, 0), kDuration, kCount, true);
    };
    const auto home = [](Card &card) {
        LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
            &card.flower(), card.place(-0.26, 0), 1, 1, false);
    };
    return {.caption = "translate_and_back",
            .flower = "flower3",
            .period = 3,
            .restX = -0.26,
            .steps = {{0, there}, {1.75, home}}};
}

Exhibit scale() {
    constexpr double kDuration = 0.6, kCount = 2;
    const auto grow = [](Card &card) {
        LWUIAnimation::setScaleAnimation_duration_repeatCount(&card.flower(), 1.7, kDuration,
                                                              kCount);
    };
    return {.caption = "scale", .period = 3, .steps = {{0, grow}}};
}

Exhibit rock() {
    constexpr double kDuration = 0.6, kCount = 3, kAngle = 40;
    const auto rock = [](Card &card) {
        LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(
            &card.flower(), -kAngle, kAngle, kDuration, kCount);
    };
    return {.caption = "rock",
            .flower = "flower2",
            .period = 4,
            .restAngle = -kAngle,
            .steps = {{0, rock}}};
}

Exhibit rotate() {
    constexpr double kDuration = 1.8, kCount = 2;
    const auto turn = [](Card &card) {
        LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(
            &card.flower(), card.place(0, 0), 360, kDuration, kCount);
    };
    return {.caption = "rotate", .flower = "flower2", .period = 4, .steps = {{0, turn}}};
}

Exhibit perspective() {
    constexpr double kDuration = 1;
    const auto tilt = [](bool on) {
        return [on](Card &card) {
            LWUIAnimation::setPerspectiveEffectAnimation_duration(&card.stage(), on, kDuration);
        };
    };
    return {.caption = "perspective",
            .flower = "flower3",
            .period = 3,
            .hasTile = true,
            .steps = {{0, tilt(true)}, {1.5, tilt(false)}}};
}

Exhibit alpha() {
    constexpr double kDuration = 0.9, kCount = 2;
    const auto fade = [](Card &card) {
        LWUIAnimation::setAlphaAnimationDuration_repeatCount(&card.flower(), kDuration, kCount);
    };
    return {.caption = "alpha", .period = 4, .steps = {{0, fade}}};
}

using Factory = Retained<CABasicAnimation> (*)(UIView *, CAAnimationDelegate *, double,
                                               std::uint64_t, bool);

/// An animation made by a factory, with the caller's values. Factories ignore their duration
/// argument, so it is set here; 0 keeps the default.
Retained<CABasicAnimation> made(Factory factory, UIView &view, std::uint64_t count, bool goesBack,
                                const AnimationValue &from, const AnimationValue &to,
                                double duration) {
    auto animation = factory(&view, nullptr, duration, count, goesBack);
    animation->setFromValue(from);
    animation->setToValue(to);
    animation->setDuration(duration);
    return animation;
}

constexpr Factory kTranslation =
    LWUIAnimation::createTranslationAnimationWithTarget_duration_repeatCount_autoreverses;
constexpr Factory kAlpha =
    LWUIAnimation::createAlphaAnimationWithTarget_duration_repeatCount_autoreverses;
constexpr Factory kRotation =
    LWUIAnimation::createRotationAnimationWithTarget_duration_repeatCount_autoreverses;

constexpr const char *kKey = "gallery";

Exhibit createTranslation() {
    constexpr std::uint64_t kCount = 5;
    const auto hop = [](Card &card) {
        const auto animation = made(kTranslation, card.flower(), kCount, true, CGPoint{0, 0},
                                    CGPoint{0, -0.2F * card.side()}, 0);
        card.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    return {.caption = "create_translation", .flower = "flower3", .period = 3, .steps = {{0, hop}}};
}

Exhibit createAlpha() {
    constexpr std::uint64_t kCount = 5;
    const auto flicker = [](Card &card) {
        const auto animation = made(kAlpha, card.flower(), kCount, true, 1.0, 0.1, 0);
        card.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    return {.caption = "create_alpha", .flower = "flower2", .period = 3, .steps = {{0, flicker}}};
}

Exhibit createRotation() {
    constexpr double kDuration = 0.8;
    constexpr std::uint64_t kCount = 2;
    const auto turn = [](Card &card) {
        const auto animation =
            made(kRotation, card.flower(), kCount, true, 0.0, std::numbers::pi, kDuration);
        card.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    return {.caption = "create_rotation", .flower = "flower2", .period = 4, .steps = {{0, turn}}};
}

/// The members run at the same time for one pass of the group, which autoreverses them together.
Exhibit createGroup() {
    constexpr double kDuration = 0.9, kCount = 2;
    const auto fly = [](Card &card) {
        UIView &flower = card.flower();
        const CGPoint away{0.4F * card.side(), 0};
        const auto group = LWUIAnimation::createAnimationGroupWithTarget(&flower, nullptr);
        group->setAnimations({made(kTranslation, flower, 1, false, CGPoint{0, 0}, away, kDuration),
                              made(kRotation, flower, 1, false, 0.0, std::numbers::pi, kDuration),
                              made(kAlpha, flower, 1, false, 1.0, 0.25, kDuration)});
        group->setDuration(kDuration);
        group->setRepeatCount(kCount);
        group->setAutoreverses(true);
        flower.layer()->addAnimation_forKey(group.get(), kKey);
    };
    return {.caption = "create_group", .period = 4, .restX = -0.2, .steps = {{0, fly}}};
}

/// An animation of any key path, here the bounds; with a target it stays until it is removed.
Exhibit setAnimation() {
    constexpr std::uint64_t kCount = 5;
    const auto squeeze = [](Card &card) {
        UIView &flower = card.flower();
        CGRect bounds = flower.bounds();
        bounds.size.width *= 1.6F;
        bounds.size.height *= 0.55F;
        const auto animation = CABasicAnimation::animationWithKeyPath("bounds");
        LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
            &flower, animation.get(), &flower, 5, kCount, true);
        animation->setToValue(bounds);
        flower.layer()->addAnimation_forKey(animation.get(), kKey);
    };
    return {.caption = "set_animation", .flower = "flower3", .period = 3, .steps = {{0, squeeze}}};
}

} // namespace

const std::vector<Exhibit> &animationExhibits() {
    static const std::vector<Exhibit> exhibits{
        translate(),   translateBackAndForth(), scale(),       rock(),
        rotate(),      perspective(),           alpha(),       createTranslation(),
        createAlpha(), createRotation(),        createGroup(), setAnimation()};
    return exhibits;
}
