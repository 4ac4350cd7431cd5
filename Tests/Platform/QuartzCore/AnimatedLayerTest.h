#pragma once

#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/QuartzCore/CALayer.h"
#include "Tests/Platform/QuartzCore/AnimationListener.h"
#include "Tests/Support/SimulatedTime.h"

/// A layer on a simulated clock, with shorthands for animating it.
class AnimatedLayerTest : public SimulatedTimeTest {
  public:
    AnimatedLayerTest() { nextCallOut(); }

  protected:
    /// Lets a call-out end, so that later changes are not grouped with earlier ones.
    static void nextCallOut() {
        loop().performSelectorOnMainThread(
            nullptr, [] {}, false);
        loop().runForSeconds(0);
    }

    static Retained<CABasicAnimation> make(const char *keyPath, const AnimationValue &from,
                                           const AnimationValue &to, double duration = 1) {
        auto animation = CABasicAnimation::animationWithKeyPath(keyPath);
        animation->setFromValue(from);
        animation->setToValue(to);
        animation->setDuration(duration);
        return animation;
    }

    static Retained<CABasicAnimation> makeFade(const AnimationValue &from, const AnimationValue &to,
                                               double duration = 1) {
        return make("opacity", from, to, duration);
    }

    void add(const Retained<CABasicAnimation> &animation, const char *key = "key") {
        layer->addAnimation_forKey(animation.get(), key);
    }

    LayerValues shown() const { return layer->presentationAt(CACurrentMediaTime()); }
    float opacity() const { return shown().opacity; }

    /// The values shown `seconds` later.
    float opacityAfter(double seconds) const {
        runForSeconds(seconds);
        return opacity();
    }

    Retained<CALayer> layer = makeRetained<CALayer>();
    Retained<AnimationListener> listener = makeRetained<AnimationListener>(*layer);
};

inline constexpr std::monostate kNone;
