#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/UIKit/UIView.h"

#include <cstdint>

/// Ready-made animations for any view, which is the first argument; with a null view nothing
/// happens. Durations are in seconds, and 0 stands for 0.25; repeat counts are converted to single
/// precision; angles are in degrees. Each set… operation replaces the animation under its key on
/// the view's layer. Main thread.
class WALLPAPER_EXPORT LWUIAnimation {
  public:
    /// Called when an animation stops whose delegate is the view. If the animation is the one under
    /// "translation", its translation is moved from the view's transform into its centre. Others,
    /// and one that was replaced, are ignored. `finished` does not matter.
    static void animationDidStop_finished(UIView *view, CAAnimation *animation, bool finished);

    /// Sets the delegate, repeat count and autoreverse; the duration is ignored. Without a target
    /// the animation is removed on completion, with one it stays.
    static void setAnimation_withTarget_duration_repeatCount_autoreverses(
        UIView *view, CAAnimation *animation, CAAnimationDelegate *target, double duration,
        std::uint64_t repeatCount, bool autoreverses);

    /// New animations, not added to a layer. Any thread.
    static Retained<CABasicAnimation>
    createTranslationAnimationWithTarget_duration_repeatCount_autoreverses(
        UIView *view, CAAnimationDelegate *target, double duration, std::uint64_t repeatCount,
        bool autoreverses);
    static Retained<CABasicAnimation>
    createAlphaAnimationWithTarget_duration_repeatCount_autoreverses(UIView *view,
                                                                     CAAnimationDelegate *target,
                                                                     double duration,
                                                                     std::uint64_t repeatCount,
                                                                     bool autoreverses);
    static Retained<CABasicAnimation>
    createRotationAnimationWithTarget_duration_repeatCount_autoreverses(UIView *view,
                                                                        CAAnimationDelegate *target,
                                                                        double duration,
                                                                        std::uint64_t repeatCount,
                                                                        bool autoreverses);

    /// A new, empty group.
    static Retained<CAAnimationGroup> createAnimationGroupWithTarget(UIView *view,
                                                                     CAAnimationDelegate *target);

    /// Moves the view's centre to `destination`. Key "translation".
    static void setTranslateAnimation_duration_repeatCount_autoreverses(
        UIView *view, CGPoint destination, double duration, double repeatCount, bool autoreverses);

    /// Scales the view to `scale` and back. Key "scale".
    static void setScaleAnimation_duration_repeatCount(UIView *view, CGFloat scale, double duration,
                                                       double repeatCount);

    /// Rotates the view from one angle to the other and back. Key "rotation".
    static void setRockAnimationStartAngle_endAngle_duration_repeatCount(
        UIView *view, double startAngle, double endAngle, double duration, double repeatCount);

    /// Rotates the view to the angle, counter-clockwise when it is positive, about the layer's
    /// anchor point; `point` is ignored. Key "rotation".
    static void setRotationAnimation_angle_duration_repeatCount(UIView *view, CGPoint point,
                                                                double angle, double duration,
                                                                double repeatCount);

    /// Tilts the subviews back by 45° in perspective if `on`, else forward by 45°; each call adds
    /// to the last one. Key "perspective".
    static void setPerspectiveEffectAnimation_duration(UIView *view, bool on, double duration);

    /// Fades the view out and in again. Key "opacity".
    static void setAlphaAnimationDuration_repeatCount(UIView *view, double duration,
                                                      double repeatCount);
};
