#pragma once

#include "Platform/QuartzCore/CAAnimationGroup.h"
#include "Platform/QuartzCore/CAKeyPath.h"

#include <vector>

/// An animation with everything that it takes from the layer at its start. From then on what it
/// shows follows from the time and the layer's own values alone.
class CARunningAnimation {
  public:
    /// What a layer looked like when an animation was added.
    struct Start {
        /// Shown before the call-out changed anything, and right before the animation was added.
        const CALayerValues &before;
        const CALayerValues &shown;
    };

    /// `begin` in seconds of the time that will be given to apply(); `depth` is the number of
    /// groups around it.
    CARunningAnimation(const CAAnimation &animation, NSTimeInterval begin, const Start &start,
                       int depth = 0);

    /// Puts what the animation shows at `time` into `shown`. False, and nothing is shown, before
    /// its beginning and from its end on. `own` are the layer's own values.
    bool apply(NSTimeInterval time, const CALayerValues &own, CALayerValues &shown) const;

    NSTimeInterval begin() const { return _begin; }
    NSTimeInterval end() const { return _begin + _timing.activeDuration(); }

  private:
    /// What one key path goes through.
    struct Course {
        CAKeyPath keyPath;
        CAComponents from;
        std::optional<CAComponents> to;

        /// Both ends were read from the layer, so a turn goes the short way.
        bool isFree;

        void apply(double progress, const CALayerValues &own, CALayerValues &shown) const;
    };

    static std::optional<Course> courseOf(const CABasicAnimation &animation, const Start &start);
    void addMembers(const CAAnimationGroup &group, const Start &start, int depth);

    NSTimeInterval _begin;
    CAAnimationTiming _timing;
    std::optional<Course> _course;
    std::vector<CARunningAnimation> _members;
};
