#pragma once

#include "Platform/Foundation/Weak.h"
#include "Platform/QuartzCore/CAAnimationTiming.h"

class CAAnimation;

/// Hears of an animation's end. Implemented by classes that derive from NSObject.
class PLATFORM_EXPORT CAAnimationDelegate {
  public:
    /// The animation, still under its key, has run to its end (`finished`) or is about to be
    /// removed before that; or another one has taken its place under the key. Told once for each
    /// time that it was added. Main thread.
    virtual void animationDidStop_finished(CAAnimation *animation, bool finished) = 0;

  protected:
    virtual ~CAAnimationDelegate() = default;
};

/// A change of a layer over time. A layer runs an animation as it was when it was added; later
/// changes count for the next layer. One thread at a time.
class PLATFORM_EXPORT CAAnimation : public NSObject {
  public:
    /// Seconds of one pass. 0 or unset counts as 0.25.
    NSTimeInterval duration() const { return _timing.duration; }
    void setDuration(NSTimeInterval duration) { _timing.duration = duration; }

    /// 0 or unset counts as 1; fractions end in the middle of a pass, infinity never.
    float repeatCount() const { return _timing.repeatCount; }
    void setRepeatCount(float count) { _timing.repeatCount = count; }

    /// True: every pass goes back again.
    bool autoreverses() const { return _timing.autoreverses; }
    void setAutoreverses(bool autoreverses) { _timing.autoreverses = autoreverses; }

    /// In seconds of the media clock, in a group of the group's time; on a layer 0 stands for the
    /// time at which the animation is added.
    NSTimeInterval beginTime() const { return _beginTime; }
    void setBeginTime(NSTimeInterval time) { _beginTime = time; }

    /// False: the animation stays under its key after its end, but shows no more.
    bool isRemovedOnCompletion() const { return _removedOnCompletion; }
    void setRemovedOnCompletion(bool removed) { _removedOnCompletion = removed; }

    /// Not owned: null once it is gone. Members of a group are silent.
    Retained<CAAnimationDelegate> delegate() const { return _delegate.lock(); }
    void setDelegate(CAAnimationDelegate *delegate) {
        _delegate = Weak<CAAnimationDelegate>(delegate);
    }

    const CAAnimationTiming &timing() const { return _timing; }

  protected:
    CAAnimation() = default;
    ~CAAnimation() override = default;

  private:
    CAAnimationTiming _timing;
    NSTimeInterval _beginTime = 0;
    bool _removedOnCompletion = true;
    Weak<CAAnimationDelegate> _delegate;
};
