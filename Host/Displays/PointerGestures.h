#pragma once

#include "Host/Displays/Display.h"

namespace Lumivera {

/// Tells taps from drags: a pointer that was pressed and let go without moving far is a tap, one
/// that moved sideways scrolls. Main thread.
class PointerGestures {
  public:
    /// Points that a tap may wander.
    static constexpr CGFloat kTapSlack = 8;

    void pressed(CGPoint point);
    void moved(CGPoint point, Display::Listener &listener);
    void released(CGPoint point, Display::Listener &listener);

  private:
    bool _isPressed = false;
    bool _isDragging = false;
    CGPoint _start;
    CGPoint _last;
};

} // namespace Lumivera
