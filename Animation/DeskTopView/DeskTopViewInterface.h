#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstdint>

/// What a host may call on any wallpaper view. Main thread; a wallpaper's resource thread may call
/// isAnimating and startAnimating too.
class WALLPAPER_EXPORT DeskTopViewInterface {
  public:
    virtual bool isAnimating() const = 0;
    virtual void startAnimating() = 0;
    virtual void pauseAnimating() = 0;
    virtual void resumeAnimating() = 0;
    virtual void stopAnimating() = 0;

    /// One frame of the animation.
    virtual void doAnimating() = 0;

    /// The icon pages came to rest at that scroll position.
    virtual void scrollingDidFinish(CGFloat position) = 0;

    /// A tap, in the view's coordinates.
    virtual void tapActionAtViewPoint(CGPoint point) = 0;

    /// A gesture that the host recognised, in the view's coordinates.
    virtual void gestureAction_atPoint(std::int32_t code, CGPoint point) = 0;

    virtual void openSettingMenu() = 0;

  protected:
    ~DeskTopViewInterface() = default;
};
