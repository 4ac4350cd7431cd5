#pragma once

#include "Host/Displays/PointerGestures.h"

#include <cstdint>

struct wl_pointer;

namespace Lumivera {

class WaylandCursor;
class WaylandSurface;

/// A seat's mouse or touchpad: the left button taps and drags, and what scrolls sideways scrolls.
/// Main thread.
class WaylandPointer final {
  public:
    /// Takes over the pointer. The cursor outlives it.
    WaylandPointer(wl_pointer *pointer, WaylandCursor &cursor);
    ~WaylandPointer();

    WaylandPointer(const WaylandPointer &) = delete;
    WaylandPointer &operator=(const WaylandPointer &) = delete;

    /// The surface goes.
    void forget(const WaylandSurface &surface);

  private:
    struct Events;

    void enter(WaylandSurface *surface, std::uint32_t serial, CGPoint point);
    void leave();
    void move(CGPoint point);
    void press(bool isPressed);
    void endScrollStep();
    PointerListener *listener() const;

    wl_pointer *const _pointer;
    WaylandCursor &_cursor;
    WaylandSurface *_surface = nullptr;
    PointerGestures _gestures;
    CGPoint _point;

    // What belongs to one step of scrolling, which ends with a frame event.
    CGFloat _scrolled = 0;
    bool _isFromFinger = false;
    bool _isStopped = false;

    bool _isScrolling = false;
};

} // namespace Lumivera
