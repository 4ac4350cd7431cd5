#include "Host/Commands/Gallery/Exhibit.h"

#include "Animation/Common/UIView+LWUIAnimation.h"
#include "Host/Commands/Gallery/ExhibitStage.h"

#include <cstdint>
#include <cstdio>

namespace Lumivera {

namespace {

constexpr double kPi = 3.14159265358979323846;

/// A number with up to 3 significant digits.
std::u32string textOf(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", number);
    return {text, text + std::char_traits<char>::length(text)};
}

std::u32string captionOf(double duration, double count, bool autoreverses) {
    return (autoreverses ? U"↔ " : U"→ ") + textOf(duration) + U" s × " + textOf(count);
}

/// Moves from place to place, without autoreverse.
Exhibit translate() {
    constexpr double kDuration = 0.8;
    const auto to = [](double x, double y) {
        return [x, y](ExhibitStage &stage) {
            LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
                &stage.flower(), stage.place(x, y), kDuration, 1, false);
        };
    };
    return {.title = U"translate",
            .caption = captionOf(kDuration, 1, false),
            .period = 3,
            .pass = 3,
            .restX = -0.26,
            .steps = {{0, to(0.26, -0.14)}, {1, to(0.26, 0.14)}, {2, to(-0.26, 0)}}};
}

/// One and a half passes end at the destination.
Exhibit translateBackAndForth() {
    constexpr double kDuration = 0.5, kCount = 1.5;
    const auto there = [](ExhibitStage &stage) {
        LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
            &stage.flower(), stage.place(0.26, 0), kDuration, kCount, true);
    };
    const auto home = [](ExhibitStage &stage) {
        LWUIAnimation::setTranslateAnimation_duration_repeatCount_autoreverses(
            &stage.flower(), stage.place(-0.26, 0), 1, 1, false);
    };
    return {.title = U"translate and back",
            .caption = captionOf(kDuration, kCount, true),
            .flower = 2,
            .period = 3,
            .pass = 1,
            .restX = -0.26,
            .steps = {{0, there}, {1.75, home}}};
}

Exhibit scale() {
    constexpr double kDuration = 0.6, kCount = 2;
    const auto grow = [](ExhibitStage &stage) {
        LWUIAnimation::setScaleAnimation_duration_repeatCount(&stage.flower(), 1.7, kDuration,
                                                              kCount);
    };
    return {.title = U"scale",
            .caption = captionOf(kDuration, kCount, true),
            .period = 3,
            .pass = 2 * kDuration,
            .steps = {{0, grow}}};
}

Exhibit rock() {
    constexpr double kDuration = 0.6, kCount = 3, kAngle = 40;
    const auto rock = [](ExhibitStage &stage) {
        LWUIAnimation::setRockAnimationStartAngle_endAngle_duration_repeatCount(
            &stage.flower(), -kAngle, kAngle, kDuration, kCount);
    };
    return {.title = U"rock",
            .caption = captionOf(kDuration, kCount, true),
            .flower = 1,
            .period = 4,
            .pass = 2 * kDuration,
            .restAngle = -kAngle,
            .steps = {{0, rock}}};
}

Exhibit rotate() {
    constexpr double kDuration = 1.8, kCount = 2;
    const auto turn = [](ExhibitStage &stage) {
        LWUIAnimation::setRotationAnimation_angle_duration_repeatCount(
            &stage.flower(), stage.place(0, 0), 360, kDuration, kCount);
    };
    return {.title = U"rotate",
            .caption = captionOf(kDuration, kCount, false),
            .flower = 1,
            .period = 4,
            .pass = kDuration,
            .steps = {{0, turn}}};
}

Exhibit perspective() {
    constexpr double kDuration = 1;
    const auto tilt = [](bool on) {
        return [on](ExhibitStage &stage) {
            LWUIAnimation::setPerspectiveEffectAnimation_duration(&stage.view(), on, kDuration);
        };
    };
    return {.title = U"perspective",
            .caption = captionOf(kDuration, 1, false),
            .flower = 2,
            .period = 3,
            .pass = 2.5,
            .hasTile = true,
            .steps = {{0, tilt(true)}, {1.5, tilt(false)}}};
}

Exhibit alpha() {
    constexpr double kDuration = 0.9, kCount = 2;
    const auto fade = [](ExhibitStage &stage) {
        LWUIAnimation::setAlphaAnimationDuration_repeatCount(&stage.flower(), kDuration, kCount);
    };
    return {.title = U"alpha",
            .caption = captionOf(kDuration, kCount, true),
            .period = 4,
            .pass = 2 * kDuration,
            .steps = {{0, fade}}};
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
    const auto hop = [](ExhibitStage &stage) {
        const auto animation = made(kTranslation, stage.flower(), kCount, true, CGPoint{0, 0},
                                    CGPoint{0, -0.2F * stage.side()}, 0);
        stage.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    constexpr double kDuration = AnimationTiming::kDefaultDuration;
    return {.title = U"create translation",
            .caption = captionOf(kDuration, kCount, true),
            .flower = 2,
            .period = 3,
            .pass = 2 * kDuration,
            .steps = {{0, hop}}};
}

Exhibit createAlpha() {
    constexpr std::uint64_t kCount = 5;
    const auto flicker = [](ExhibitStage &stage) {
        const auto animation = made(kAlpha, stage.flower(), kCount, true, 1.0, 0.1, 0);
        stage.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    constexpr double kDuration = AnimationTiming::kDefaultDuration;
    return {.title = U"create alpha",
            .caption = captionOf(kDuration, kCount, true),
            .flower = 1,
            .period = 3,
            .pass = 2 * kDuration,
            .steps = {{0, flicker}}};
}

Exhibit createRotation() {
    constexpr double kDuration = 0.8;
    constexpr std::uint64_t kCount = 2;
    const auto turn = [](ExhibitStage &stage) {
        const auto animation = made(kRotation, stage.flower(), kCount, true, 0.0, kPi, kDuration);
        stage.flower().layer()->addAnimation_forKey(animation.get(), kKey);
    };
    return {
        U"create rotation", captionOf(kDuration, kCount, true), 1, 4, 2 * kDuration, 0, 0, false,
        {{0, turn}}};
}

/// The members run at the same time for one pass of the group, which autoreverses them together.
Exhibit createGroup() {
    constexpr double kDuration = 0.9, kCount = 2;
    const auto fly = [](ExhibitStage &stage) {
        UIView &flower = stage.flower();
        const CGPoint away{0.4F * stage.side(), 0};
        const auto group = LWUIAnimation::createAnimationGroupWithTarget(&flower, nullptr);
        group->setAnimations({made(kTranslation, flower, 1, false, CGPoint{0, 0}, away, kDuration),
                              made(kRotation, flower, 1, false, 0.0, kPi, kDuration),
                              made(kAlpha, flower, 1, false, 1.0, 0.25, kDuration)});
        group->setDuration(kDuration);
        group->setRepeatCount(kCount);
        group->setAutoreverses(true);
        flower.layer()->addAnimation_forKey(group.get(), kKey);
    };
    return {
        U"create group", captionOf(kDuration, kCount, true), 0, 4, 2 * kDuration, -0.2, 0, false,
        {{0, fly}}};
}

/// An animation of any key path, here the bounds; with a target it stays until it is removed.
Exhibit setAnimation() {
    constexpr std::uint64_t kCount = 5;
    const auto squeeze = [](ExhibitStage &stage) {
        UIView &flower = stage.flower();
        CGRect bounds = flower.bounds();
        bounds.size.width *= 1.6F;
        bounds.size.height *= 0.55F;
        const auto animation = CABasicAnimation::animationWithKeyPath("bounds");
        LWUIAnimation::setAnimation_withTarget_duration_repeatCount_autoreverses(
            &flower, animation.get(), &flower, 5, kCount, true);
        animation->setToValue(bounds);
        flower.layer()->addAnimation_forKey(animation.get(), kKey);
    };
    constexpr double kDuration = AnimationTiming::kDefaultDuration;
    return {.title = U"set animation",
            .caption = captionOf(kDuration, kCount, true),
            .flower = 2,
            .period = 3,
            .pass = 2 * kDuration,
            .steps = {{0, squeeze}}};
}

} // namespace

const std::vector<Exhibit> &allExhibits() {
    static const std::vector<Exhibit> exhibits{
        translate(),   translateBackAndForth(), scale(),       rock(),
        rotate(),      perspective(),           alpha(),       createTranslation(),
        createAlpha(), createRotation(),        createGroup(), setAnimation()};
    return exhibits;
}

} // namespace Lumivera
