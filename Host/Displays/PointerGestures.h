#pragma once

#include "Host/Displays/PointerListener.h"

namespace Lumivera {

/// Tells taps from drags: a pointer that was pressed and let go without moving far is a tap, one
/// that moved further scrolls. Main thread.
class PointerGestures {
  public:
    /// Points that a tap may wander.
    static constexpr CGFloat kTapSlack = 8;

    void pressed(CGPoint point);
    void moved(CGPoint point, PointerListener &listener);
    void released(CGPoint point, PointerListener &listener);

    /// The window system took the pointer away: no tap, and a drag ends where it is.
    void cancelled(PointerListener &listener);

  private:
    bool _isPressed = false;
    bool _isDragging = false;
    CGPoint _start;
    CGPoint _last;
};

} // namespace Lumivera
