#pragma once

#include "Platform/Foundation/Weak.h"

#include <optional>
#include <vector>

/// The media clock: the time of the current Clock in seconds. Never runs backwards. Any thread.
PLATFORM_EXPORT NSTimeInterval CACurrentMediaTime();

/// Duration, repeat count and direction of an animation. Any values are allowed; invalid ones count
/// as described here.
struct PLATFORM_EXPORT AnimationTiming {
    static constexpr NSTimeInterval kDefaultDuration = 0.25;

    /// Seconds of one pass in one direction. 0, negative values and NaN count as the default.
    NSTimeInterval duration = 0;

    /// The number of passes; forth and back is one. 0, negative values and NaN count as 1. May be
    /// infinite, or a fraction, which ends in the middle of a pass.
    float repeatCount = 0;

    /// True: every pass goes back again, which takes as long as going forth.
    bool autoreverses = false;

    NSTimeInterval effectiveDuration() const;

    /// Seconds from the beginning to the end of the last pass; may be infinite.
    NSTimeInterval activeDuration() const;

    /// The progress of a pass, 0 to 1, that many seconds after the beginning. Nothing before the
    /// beginning and from the end on.
    std::optional<double> progressAt(NSTimeInterval elapsed) const;
};

class CAAnimation;

/// Is told when an animation ends. Implemented by classes that derive from NSObject.
class PLATFORM_EXPORT CAAnimationDelegate {
  public:
    /// Called when the animation has run to its end (`finished`), is about to be removed before
    /// that, or was replaced by another one under its key. Except when replaced, it is still under
    /// its key. Called once for each time that it was added. Main thread.
    virtual void animationDidStop_finished(CAAnimation *animation, bool finished) = 0;

  protected:
    virtual ~CAAnimationDelegate() = default;
};

/// A change of a layer over time. Adding it to a layer copies its settings; later changes of them
/// affect only layers that it is added to afterwards. One thread at a time.
class PLATFORM_EXPORT CAAnimation : public NSObject {
  public:
    /// Seconds of one pass; 0 or unset counts as 0.25.
    NSTimeInterval duration() const { return _timing.duration; }
    void setDuration(NSTimeInterval duration) { _timing.duration = duration; }

    /// The number of passes; 0 or unset counts as 1, infinity repeats for ever.
    float repeatCount() const { return _timing.repeatCount; }
    void setRepeatCount(float count) { _timing.repeatCount = count; }

    /// True: every pass goes back again.
    bool autoreverses() const { return _timing.autoreverses; }
    void setAutoreverses(bool autoreverses) { _timing.autoreverses = autoreverses; }

    /// In seconds of the media clock, or of the group's time for a member of a group. On a layer 0
    /// stands for the time at which the animation is added.
    NSTimeInterval beginTime() const { return _beginTime; }
    void setBeginTime(NSTimeInterval time) { _beginTime = time; }

    /// False: the animation stays under its key after its end, but shows nothing any more.
    bool isRemovedOnCompletion() const { return _removedOnCompletion; }
    void setRemovedOnCompletion(bool removed) { _removedOnCompletion = removed; }

    /// Not owned; null once it is gone. The delegates of a group's members are not called.
    Retained<CAAnimationDelegate> delegate() const { return _delegate.lock(); }
    void setDelegate(CAAnimationDelegate *delegate) {
        _delegate = Weak<CAAnimationDelegate>(delegate);
    }

    const AnimationTiming &timing() const { return _timing; }

  protected:
    CAAnimation() = default;
    ~CAAnimation() override = default;

  private:
    AnimationTiming _timing;
    NSTimeInterval _beginTime = 0;
    bool _removedOnCompletion = true;
    Weak<CAAnimationDelegate> _delegate;
};

/// Animations that run side by side on the group's own time, which repeats and reverses with the
/// group. Members that last longer than the group are cut off.
class PLATFORM_EXPORT CAAnimationGroup final : public CAAnimation {
  public:
    /// Groups nested deeper than this show nothing.
    static constexpr int kMaxDepth = 16;

    /// An empty group.
    static Retained<CAAnimationGroup> animation();

    const std::vector<Retained<CAAnimation>> &animations() const { return _animations; }

    /// Where two members change the same property, the later one shows. Nulls are dropped.
    void setAnimations(std::vector<Retained<CAAnimation>> animations);

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    CAAnimationGroup() = default;
    ~CAAnimationGroup() override = default;

    std::vector<Retained<CAAnimation>> _animations;
};
