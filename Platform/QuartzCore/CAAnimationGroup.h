#pragma once

#include "Platform/QuartzCore/CAAnimation.h"

#include <vector>

/// Animations that run side by side on the group's own time, which repeats and turns back with the
/// group. What lasts longer than the group is cut off.
class PLATFORM_EXPORT CAAnimationGroup final : public CAAnimation {
  public:
    /// Groups deeper inside one another than this show nothing.
    static constexpr int kDeepest = 16;

    /// Empty.
    static Retained<CAAnimationGroup> animation();

    const std::vector<Retained<CAAnimation>> &animations() const { return _animations; }

    /// Where two change the same thing, the later one shows. Nulls are left out.
    void setAnimations(std::vector<Retained<CAAnimation>> animations);

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    CAAnimationGroup() = default;
    ~CAAnimationGroup() override = default;

    std::vector<Retained<CAAnimation>> _animations;
};
