#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/QuartzCore/CAAnimationGroup.h"
#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/UIKit/UIView.h"

#include <cstdint>

/// Ready-made animations for any view: the first argument is the view, and with null nothing
/// happens. Durations are in seconds, 0 standing for 0.25; repeat counts become single precision;
/// angles are in degrees. Each set… operation replaces the animation under its key on the view's
/// layer. Main thread.
class WALLPAPER_EXPORT LWUIAnimation {
  public:
    /// What views do when an animation that they are the delegate of stops: the one that stands
    /// under "translation" becomes part of the view's centre. One that was replaced stands there no
    /// more, and is ignored as all others are. The finished flag does not matter.
    static void animationDidStop_finished(UIView *view, CAAnimation *animation, bool finished);

    /// Sets all but the duration, which is accepted and not applied. Without a target the animation
    /// is removed on completion, with one it stays.
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

    /// Empty.
    static Retained<CAAnimationGroup> createAnimationGroupWithTarget(UIView *view,
                                                                     CAAnimationDelegate *target);

    /// Moves the view so that its middle ends at `destination`. Key "translation".
    static void setTranslateAnimation_duration_repeatCount_autoreverses(
        UIView *view, CGPoint destination, double duration, double repeatCount, bool autoreverses);

    /// From the view's scale to `scale` and back. Key "scale".
    static void setScaleAnimation_duration_repeatCount(UIView *view, CGFloat scale, double duration,
                                                       double repeatCount);

    /// From one angle to the other and back. Key "rotation".
    static void setRockAnimationStartAngle_endAngle_duration_repeatCount(
        UIView *view, double startAngle, double endAngle, double duration, double repeatCount);

    /// To the angle, counter-clockwise when it is positive, about the layer's anchor point: the
    /// point does not matter. Key "rotation".
    static void setRotationAnimation_angle_duration_repeatCount(UIView *view, CGPoint point,
                                                                double angle, double duration,
                                                                double repeatCount);

    /// Tilts the subviews back by 45° in perspective, or turns them back; each call goes on from
    /// the last one. Key "perspective".
    static void setPerspectiveEffectAnimation_duration(UIView *view, bool on, double duration);

    /// Fades out and in again. Key "opacity".
    static void setAlphaAnimationDuration_repeatCount(UIView *view, double duration,
                                                      double repeatCount);
};
