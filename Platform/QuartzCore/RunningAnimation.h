#pragma once

#include "Platform/QuartzCore/LayerKeyPath.h"

#include <vector>

/// An animation together with the values that it took from the layer at its start. What it shows
/// then depends on the time and the layer's own values only.
class RunningAnimation {
  public:
    /// What a layer looked like when an animation was added.
    struct Start {
        /// The values shown before the call-out changed anything, and right before the animation
        /// was added.
        const LayerValues &before;
        const LayerValues &shown;
    };

    /// `begin` is on the same time scale as apply()'s `time`; `depth` is the number of enclosing
    /// groups.
    RunningAnimation(const CAAnimation &animation, NSTimeInterval begin, const Start &start,
                     int depth = 0);

    /// Writes what the animation shows at `time` into `shown`. False, with nothing written, before
    /// its beginning and from its end on. `own` are the layer's own values.
    bool apply(NSTimeInterval time, const LayerValues &own, LayerValues &shown) const;

    NSTimeInterval begin() const { return _begin; }
    NSTimeInterval end() const { return _begin + _timing.activeDuration(); }

  private:
    /// The change of one key path's numbers.
    struct Course {
        LayerKeyPath keyPath;
        AnimationComponents from;
        std::optional<AnimationComponents> to;

        /// True when both ends come from the layer; a rotation then goes the short way.
        bool isFree;

        void apply(double progress, const LayerValues &own, LayerValues &shown) const;
    };

    static std::optional<Course> courseOf(const CABasicAnimation &animation, const Start &start);
    void addMembers(const CAAnimationGroup &group, const Start &start, int depth);

    NSTimeInterval _begin;
    AnimationTiming _timing;
    std::optional<Course> _course;
    std::vector<RunningAnimation> _members;
};
