#include <linux/input-event-codes.h>
#include <wayland-client.h>

#include "Host/Displays/Wayland/WaylandPointer.h"

#include "Host/Displays/Wayland/WaylandCursor.h"
#include "Host/Displays/Wayland/WaylandSurface.h"

#include <utility>

namespace Lumivera {

struct WaylandPointer::Events {
    static WaylandPointer &self(void *data) { return *static_cast<WaylandPointer *>(data); }

    static CGPoint point(wl_fixed_t x, wl_fixed_t y) {
        return {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    }

    static void enter(void *data, wl_pointer *, std::uint32_t serial, wl_surface *surface,
                      wl_fixed_t x, wl_fixed_t y) {
        void *const owner = surface ? wl_surface_get_user_data(surface) : nullptr;
        self(data).enter(static_cast<WaylandSurface *>(owner), serial, point(x, y));
    }

    static void leave(void *data, wl_pointer *, std::uint32_t, wl_surface *) { self(data).leave(); }

    static void motion(void *data, wl_pointer *, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
        self(data).move(point(x, y));
    }

    static void button(void *data, wl_pointer *, std::uint32_t, std::uint32_t, std::uint32_t button,
                       std::uint32_t state) {
        if (button == BTN_LEFT) {
            self(data).press(state == WL_POINTER_BUTTON_STATE_PRESSED);
        }
    }

    /// A wl_pointer before version 5 sends no frame event, so each axis event is a step of its own.
    static void axis(void *data, wl_pointer *pointer, std::uint32_t, std::uint32_t axis,
                     wl_fixed_t value) {
        if (axis == WL_POINTER_AXIS_HORIZONTAL_SCROLL) {
            self(data)._scrolled -= wl_fixed_to_double(value);
            if (wl_pointer_get_version(pointer) < WL_POINTER_FRAME_SINCE_VERSION) {
                self(data).endScrollStep();
            }
        }
    }

    static void frame(void *data, wl_pointer *) { self(data).endScrollStep(); }

    static void axisSource(void *data, wl_pointer *, std::uint32_t source) {
        self(data)._isFromFinger = source == WL_POINTER_AXIS_SOURCE_FINGER;
    }

    static void axisStop(void *data, wl_pointer *, std::uint32_t, std::uint32_t axis) {
        self(data)._isStopped = self(data)._isStopped || axis == WL_POINTER_AXIS_HORIZONTAL_SCROLL;
    }

    static void axisDiscrete(void *, wl_pointer *, std::uint32_t, std::int32_t) {}
    static void axisValue120(void *, wl_pointer *, std::uint32_t, std::int32_t) {}

    /// Newer headers have more members; their events come only to those who bind a newer pointer.
    static constexpr wl_pointer_listener kPointer = [] {
        wl_pointer_listener listener{};
        listener.enter = enter;
        listener.leave = leave;
        listener.motion = motion;
        listener.button = button;
        listener.axis = axis;
        listener.frame = frame;
        listener.axis_source = axisSource;
        listener.axis_stop = axisStop;
        listener.axis_discrete = axisDiscrete;
        listener.axis_value120 = axisValue120;
        return listener;
    }();
};

WaylandPointer::WaylandPointer(wl_pointer *pointer, WaylandCursor &cursor)
    : _pointer(pointer), _cursor(cursor) {
    wl_pointer_add_listener(_pointer, &Events::kPointer, this);
}

/// The device may go in the middle of a drag.
WaylandPointer::~WaylandPointer() {
    leave();
    if (wl_pointer_get_version(_pointer) >= WL_POINTER_RELEASE_SINCE_VERSION) {
        wl_pointer_release(_pointer);
    } else {
        wl_pointer_destroy(_pointer);
    }
}

void WaylandPointer::forget(const WaylandSurface &surface) {
    if (_surface == &surface) {
        leave();
    }
}

void WaylandPointer::enter(WaylandSurface *surface, std::uint32_t serial, CGPoint point) {
    leave();
    _surface = surface;
    _point = point;
    if (_surface) {
        _cursor.showFor(_pointer, serial, _surface->wholeScale());
    }
}

void WaylandPointer::leave() {
    if (PointerListener *const heard = listener()) {
        _gestures.cancelled(*heard);
        if (_isScrolling) {
            heard->scrollingEnded();
        }
    }
    _surface = nullptr;
    _gestures = {};
    _scrolled = 0;
    _isScrolling = _isStopped = false;
}

void WaylandPointer::move(CGPoint point) {
    _point = point;
    if (PointerListener *const heard = listener()) {
        _gestures.moved(point, *heard);
    }
}

void WaylandPointer::press(bool isPressed) {
    PointerListener *const heard = listener();
    if (heard && isPressed) {
        _gestures.pressed(_point);
    } else if (heard) {
        _gestures.released(_point, *heard);
    }
}

/// Only a finger's scrolling says by itself when it ends.
void WaylandPointer::endScrollStep() {
    const CGFloat distance = std::exchange(_scrolled, 0);
    const bool isOver = std::exchange(_isStopped, false) || !_isFromFinger;
    PointerListener *const heard = listener();
    if (heard && distance != 0) {
        _isScrolling = true;
        heard->scrolledBy(distance);
    }
    if (heard && _isScrolling && isOver) {
        _isScrolling = false;
        heard->scrollingEnded();
    }
}

PointerListener *WaylandPointer::listener() const {
    return _surface ? _surface->pointerListener() : nullptr;
}

} // namespace Lumivera
