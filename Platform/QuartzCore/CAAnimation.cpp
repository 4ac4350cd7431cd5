#include "Platform/QuartzCore/CAAnimation.h"

#include "Platform/Foundation/Clock.h"

#include <algorithm>
#include <cmath>

NSTimeInterval CACurrentMediaTime() {
    return static_cast<NSTimeInterval>(Clock::current().now()) / 1e9;
}

NSTimeInterval AnimationTiming::effectiveDuration() const {
    return duration > 0 ? duration : kDefaultDuration;
}

NSTimeInterval AnimationTiming::activeDuration() const {
    const NSTimeInterval pass = effectiveDuration() * (autoreverses ? 2 : 1);
    return repeatCount > 0 ? pass * static_cast<double>(repeatCount) : pass;
}

std::optional<double> AnimationTiming::progressAt(NSTimeInterval elapsed) const {
    if (!(elapsed >= 0 && elapsed < activeDuration())) {
        return std::nullopt;
    }
    const NSTimeInterval way = effectiveDuration();
    const NSTimeInterval pass = way * (autoreverses ? 2 : 1);
    const NSTimeInterval inPass = elapsed < pass ? elapsed : std::fmod(elapsed, pass);
    const double ways = inPass / way;
    return std::clamp(ways > 1 ? 2 - ways : ways, 0.0, 1.0);
}

Retained<CAAnimationGroup> CAAnimationGroup::animation() {
    return makeRetained<CAAnimationGroup>();
}

void CAAnimationGroup::setAnimations(std::vector<Retained<CAAnimation>> animations) {
    std::erase(animations, nullptr);
    _animations = std::move(animations);
}
