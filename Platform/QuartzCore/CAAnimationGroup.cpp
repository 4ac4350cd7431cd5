#include "Platform/QuartzCore/CAAnimationGroup.h"

Retained<CAAnimationGroup> CAAnimationGroup::animation() {
    return makeRetained<CAAnimationGroup>();
}

void CAAnimationGroup::setAnimations(std::vector<Retained<CAAnimation>> animations) {
    std::erase(animations, nullptr);
    _animations = std::move(animations);
}
