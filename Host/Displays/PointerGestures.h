#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

namespace Lumivera {

/// Hears what a pointer or a finger does, in call-outs of the main run loop. Places and distances
/// are in points, from the top left corner of the surface or window.
class PointerListener {
  public:
    virtual void tapped(CGPoint point) = 0;

    /// The content moved right by `distance` since the last call.
    virtual void scrolledBy(CGFloat distance) = 0;
    virtual void scrollingEnded() = 0;

    /// The content moved down by this distance since the last call; scrollingEnded() does not
    /// follow. Ignored by default.
    virtual void scrolledDownBy(CGFloat) {}

  protected:
    ~PointerListener() = default;
};

/// Tells taps from drags: a press and a release near each other are a tap, a press that moves
/// further scrolls. Main thread.
class PointerGestures {
  public:
    /// The distance in points that a tap may move.
    static constexpr CGFloat kTapSlack = 8;

    void pressed(CGPoint point);
    void moved(CGPoint point, PointerListener &listener);
    void released(CGPoint point, PointerListener &listener);

    /// The window system has taken the pointer away: there is no tap, and a drag ends.
    void cancelled(PointerListener &listener);

  private:
    bool _isPressed = false;
    bool _isDragging = false;
    CGPoint _start;
    CGPoint _last;
};

} // namespace Lumivera
