#pragma once

#include "Animation/Common/CppVector2D.h"
#include "Animation/Common/WallpaperExport.h"
#include "Platform/UIKit/UIColor.h"
#include "Platform/UIKit/UIImageView.h"

#include <cstdint>

/// One petal: a picture that falls, drifts, perhaps sways, and spins by one step each time it is
/// told to, and that a tap pushes away. Speeds are in points a step. Knows nothing of other petals
/// or of the screen's edges. Main thread.
class WALLPAPER_EXPORT Sakura : public UIImageView {
  public:
    /// A petal without a picture.
    static Retained<Sakura> initWithFrame(const CGRect &frame);

    /// A petal of that picture (which may be null), `scale` times its size, above the top edge.
    static Retained<Sakura> initWithImage_scale_speed(Retained<UIImage> image, CGFloat scale,
                                                      NSInteger speedLevel);

    /// Draws a new drift, spin and sway for a speed level of 0 or more; 0 moves like 2. Position
    /// and push stay.
    void resetFallingSpeedLevel(NSInteger level);

    /// Puts the petal just above the top edge, upright, with that picture, `scaleLevel` times its
    /// scale, at a random x in the strip of width() points shifted by `offset`, with new motion.
    void resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(Retained<UIImage> image,
                                                                      std::int32_t scaleLevel,
                                                                      NSInteger speedLevel,
                                                                      CGFloat offset);

    /// One step.
    void falling();

    /// Arms a push away from `point`, in the superview's coordinates, that wears off.
    void doResponseWithTapPoint_speed(CGPoint point, CGFloat speed);

    CGPoint originPosition() const { return _originPosition; }
    void setOriginPosition(CGPoint position) { _originPosition = position; }

    /// Kept for the owner; changes nothing.
    UIColor *maskColor() const { return _maskColor.get(); }
    void setMaskColor(Retained<UIColor> color) { _maskColor = std::move(color); }

    /// The setter resizes to the picture times the scale, without the scale level, at once.
    CGFloat scale() const { return _scale; }
    void setScale(CGFloat scale);

    CGFloat originAngle() const { return _originAngle; }
    void setOriginAngle(CGFloat angle) { _originAngle = angle; }

    /// Radians; shown from the next step on.
    CGFloat angle() const { return _angle; }
    void setAngle(CGFloat angle) { _angle = angle; }

    /// Whole points; 0 counts as 1 where a start is drawn.
    NSUInteger width() const { return _width; }
    void setWidth(NSUInteger width) { _width = width; }

  protected:
    explicit Sakura(const CGRect &frame);
    Sakura(Retained<UIImage> image, CGFloat scale, NSInteger speedLevel);
    ~Sakura() override;

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);
    friend class SakuraProbe; // lets tests see and set the motion

    Sakura(const CGRect &frame, CGFloat scale, CGFloat swayRate);
    CGSize imageSize() const;

    CGPoint _originPosition;
    Retained<UIColor> _maskColor;
    CGFloat _scale;
    CGFloat _angle = 0;
    CGFloat _originAngle = 0;
    CGFloat _angleStep = 0;
    [[maybe_unused]] NSUInteger _imageIndex = 0;
    NSUInteger _width;
    CppVector2D _originSpeed;
    CppVector2D _changedSpeed;
    CppVector2D _deacceleration;
    CGFloat _xOffset;
    bool _isXOffset = false;
};
