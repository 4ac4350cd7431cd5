#pragma once

#include "Animation/Common/CppVector2D.h"
#include "Animation/Common/WallpaperExport.h"
#include "Platform/UIKit/UIColor.h"
#include "Platform/UIKit/UIImageView.h"

#include <cstdint>

/// One petal: a picture that falls, drifts, spins and may sway, by one step at each call of
/// falling(), and that a tap pushes away. Speeds are in points a step. It does not know about other
/// petals or the screen's edges. Main thread.
class WALLPAPER_EXPORT Sakura : public UIImageView {
  public:
    /// A petal without a picture.
    static Retained<Sakura> initWithFrame(const CGRect &frame);

    /// A petal of that picture (which may be null), `scale` times its size, above the top edge.
    static Retained<Sakura> initWithImage_scale_speed(Retained<UIImage> image, CGFloat scale,
                                                      NSInteger speedLevel);

    /// Chooses a new random drift, fall, spin and sway for a speed level of 0 or more; 0 moves like
    /// 2. Position and push do not change.
    void resetFallingSpeedLevel(NSInteger level);

    /// Starts the petal again: upright, just above the top edge, with that picture at `scaleLevel`
    /// times its scale, at `offset` plus a random x below width(), with new random motion.
    void resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(Retained<UIImage> image,
                                                                      std::int32_t scaleLevel,
                                                                      NSInteger speedLevel,
                                                                      CGFloat offset);

    /// Moves and turns the petal by one step.
    void falling();

    /// Pushes the petal away from `point` (in the superview's coordinates) in the following steps,
    /// with decreasing speed.
    void doResponseWithTapPoint_speed(CGPoint point, CGFloat speed);

    CGPoint originPosition() const { return _originPosition; }
    void setOriginPosition(CGPoint position) { _originPosition = position; }

    /// Stored for the owner; has no effect.
    UIColor *maskColor() const { return _maskColor.get(); }
    void setMaskColor(Retained<UIColor> color) { _maskColor = std::move(color); }

    /// The setter at once resizes the petal to its picture's size times the scale, dropping the
    /// scale level.
    CGFloat scale() const { return _scale; }
    void setScale(CGFloat scale);

    CGFloat originAngle() const { return _originAngle; }
    void setOriginAngle(CGFloat angle) { _originAngle = angle; }

    /// In radians; shown from the next step on.
    CGFloat angle() const { return _angle; }
    void setAngle(CGFloat angle) { _angle = angle; }

    /// The width of the area where petals start, in points; 0 counts as 1.
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
