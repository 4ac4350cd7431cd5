#include "Platform/QuartzCore/RunningAnimation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

bool isSet(const AnimationValue &value) { return !std::holds_alternative<std::monostate>(value); }

} // namespace

RunningAnimation::RunningAnimation(const CAAnimation &animation, NSTimeInterval begin,
                                   const Start &start, int depth)
    : _begin(begin), _timing(animation.timing()) {
    if (const auto *basic = dynamic_cast<const CABasicAnimation *>(&animation)) {
        _course = courseOf(*basic, start);
    } else if (const auto *group = dynamic_cast<const CAAnimationGroup *>(&animation)) {
        addMembers(*group, start, depth);
    }
}

std::optional<RunningAnimation::Course>
RunningAnimation::courseOf(const CABasicAnimation &animation, const Start &start) {
    const auto keyPath = LayerKeyPath::parse(animation.keyPath());
    if (!keyPath) {
        return std::nullopt;
    }
    const bool hasFrom = isSet(animation.fromValue());
    const bool hasTo = isSet(animation.toValue());
    const auto from = keyPath->componentsOf(animation.fromValue());
    const auto to = keyPath->componentsOf(animation.toValue());
    if ((hasFrom && !from) || (hasTo && !to)) {
        return std::nullopt;
    }
    if (from) {
        return Course{*keyPath, *from, to, false};
    }
    return Course{*keyPath, keyPath->read(to ? start.shown : start.before), to, !to};
}

void RunningAnimation::addMembers(const CAAnimationGroup &group, const Start &start, int depth) {
    if (depth >= CAAnimationGroup::kMaxDepth) {
        return;
    }
    for (const Retained<CAAnimation> &member : group.animations()) {
        _members.push_back(RunningAnimation(*member, member->beginTime(), start, depth + 1));
    }
}

bool RunningAnimation::apply(NSTimeInterval time, const LayerValues &own,
                             LayerValues &shown) const {
    const auto progress = _timing.progressAt(time - _begin);
    if (!progress) {
        return false;
    }
    if (_course) {
        _course->apply(*progress, own, shown);
    }
    // Kept below the length, so that a member as long as its group still shows at the turning
    // point.
    const NSTimeInterval length = _timing.effectiveDuration();
    const NSTimeInterval inGroup = std::min(*progress * length, std::nextafter(length, 0.0));
    for (const RunningAnimation &member : _members) {
        member.apply(inGroup, own, shown);
    }
    return true;
}

void RunningAnimation::Course::apply(double progress, const LayerValues &own,
                                     LayerValues &shown) const {
    AnimationComponents target = to ? *to : keyPath.read(own);
    if (isFree && keyPath.isAngle()) {
        target[0] = from[0] + std::remainder(target[0] - from[0], 2 * std::numbers::pi_v<CGFloat>);
    }
    if (progress < 1) {
        const auto part = static_cast<CGFloat>(progress);
        for (std::size_t i = 0; i < keyPath.count(); ++i) {
            target[i] = from[i] + (target[i] - from[i]) * part;
        }
    }
    keyPath.write(target, shown);
}
