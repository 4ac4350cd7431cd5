#pragma once

#include "Host/Displays/PointerGestures.h"
#include "Host/Displays/X11/X11Event.h"

namespace Lumivera {

/// The mouse over a window: taps and drags with its main button, and its sideways wheel. Main
/// thread.
class X11Pointer {
  public:
    /// The events that the window has to await.
    static const std::uint32_t kAwaitedEvents;

    explicit X11Pointer(std::uint32_t window) : _window(window) {}

    /// Tells the listener what an event of the window means, if anything. `density` in pixels a
    /// point.
    void eventArrived(const X11Event &event, CGFloat density, PointerListener &listener);

  private:
    void servePress(std::uint8_t button, CGPoint point, PointerListener &listener);

    const std::uint32_t _window;
    PointerGestures _gestures;
};

} // namespace Lumivera
