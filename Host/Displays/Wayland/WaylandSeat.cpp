#include <linux/input-event-codes.h>
#include <wayland-client.h>
#include <wayland-cursor.h>

#include "Host/Displays/Wayland/WaylandSeat.h"

#include "Host/Displays/Wayland/WaylandConnection.h"
#include "Host/Displays/Wayland/WaylandSurface.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace Lumivera {

namespace {

constexpr int kDefaultCursorSize = 24;
constexpr int kMaxCursorSize = 256;

int cursorSize() {
    const char *text = std::getenv("XCURSOR_SIZE");
    const int size = text ? std::atoi(text) : 0;
    return size > 0 ? std::min(size, kMaxCursorSize) : kDefaultCursorSize;
}

const wl_cursor *arrowOf(wl_cursor_theme *theme) {
    for (const char *name : {"left_ptr", "default"}) {
        const wl_cursor *cursor = wl_cursor_theme_get_cursor(theme, name);
        if (cursor && cursor->image_count > 0) {
            return cursor;
        }
    }
    return nullptr;
}

bool isDivisible(const wl_cursor_image &image, int scale) {
    const auto divisor = static_cast<std::uint32_t>(scale);
    return image.width % divisor == 0 && image.height % divisor == 0;
}

/// Further fingers are ignored.
constexpr std::size_t kMaxFingers = 32;

CGPoint point(wl_fixed_t x, wl_fixed_t y) { return {wl_fixed_to_double(x), wl_fixed_to_double(y)}; }

/// Null for a surface that has gone.
WaylandSurface *ownerOf(wl_surface *surface) {
    return surface ? static_cast<WaylandSurface *>(wl_surface_get_user_data(surface)) : nullptr;
}

} // namespace

WaylandCursor::~WaylandCursor() {
    if (_surface) {
        wl_surface_destroy(_surface);
    }
    if (_theme) {
        wl_cursor_theme_destroy(_theme);
    }
}

void WaylandCursor::showFor(wl_pointer *pointer, std::uint32_t serial, int scale) {
    load(scale);
    const wl_cursor *const arrow = _theme ? arrowOf(_theme) : nullptr;
    if (!arrow) {
        return;
    }
    wl_cursor_image &image = *arrow->images[0];
    const int divisor = isDivisible(image, scale) ? scale : 1;
    if (wl_surface_get_version(_surface) >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION) {
        wl_surface_set_buffer_scale(_surface, divisor);
    }
    wl_surface_attach(_surface, wl_cursor_image_get_buffer(&image), 0, 0);
    wl_surface_damage(_surface, 0, 0, INT32_MAX, INT32_MAX);
    wl_surface_commit(_surface);
    wl_pointer_set_cursor(pointer, serial, _surface, static_cast<int>(image.hotspot_x) / divisor,
                          static_cast<int>(image.hotspot_y) / divisor);
}

void WaylandCursor::load(int scale) {
    if (!_surface) {
        _surface = wl_compositor_create_surface(_globals.compositor);
    }
    if (_scale != scale) {
        if (_theme) {
            wl_cursor_theme_destroy(_theme);
        }
        _theme =
            wl_cursor_theme_load(std::getenv("XCURSOR_THEME"), cursorSize() * scale, _globals.shm);
        _scale = scale;
    }
}

struct WaylandPointer::Events {
    static WaylandPointer &self(void *data) { return *static_cast<WaylandPointer *>(data); }

    static void enter(void *data, wl_pointer *, std::uint32_t serial, wl_surface *surface,
                      wl_fixed_t x, wl_fixed_t y) {
        self(data).enter(ownerOf(surface), serial, point(x, y));
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

    /// Sets members by name, because newer headers have more of them; those stay null, as their
    /// events belong to versions that are not bound.
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

/// Ends a drag that the device leaves unfinished.
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

/// A wheel sends no axis_stop event, so each of its steps ends the scrolling.
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

struct WaylandTouch::Events {
    static WaylandTouch &self(void *data) { return *static_cast<WaylandTouch *>(data); }

    static void down(void *data, wl_touch *, std::uint32_t, std::uint32_t, wl_surface *surface,
                     std::int32_t id, wl_fixed_t x, wl_fixed_t y) {
        self(data).down(ownerOf(surface), id, point(x, y));
    }

    static void up(void *data, wl_touch *, std::uint32_t, std::uint32_t, std::int32_t id) {
        self(data).up(id);
    }

    static void motion(void *data, wl_touch *, std::uint32_t, std::int32_t id, wl_fixed_t x,
                       wl_fixed_t y) {
        self(data).move(id, point(x, y));
    }

    static void frame(void *, wl_touch *) {}
    static void cancel(void *data, wl_touch *) { self(data).cancel(); }
    static void shape(void *, wl_touch *, std::int32_t, wl_fixed_t, wl_fixed_t) {}
    static void orientation(void *, wl_touch *, std::int32_t, wl_fixed_t) {}

    static constexpr wl_touch_listener kTouch{.down = down,
                                              .up = up,
                                              .motion = motion,
                                              .frame = frame,
                                              .cancel = cancel,
                                              .shape = shape,
                                              .orientation = orientation};
};

WaylandTouch::WaylandTouch(wl_touch *touch) : _touch(touch) {
    wl_touch_add_listener(_touch, &Events::kTouch, this);
}

WaylandTouch::~WaylandTouch() {
    cancel();
    if (wl_touch_get_version(_touch) >= WL_TOUCH_RELEASE_SINCE_VERSION) {
        wl_touch_release(_touch);
    } else {
        wl_touch_destroy(_touch);
    }
}

void WaylandTouch::forget(const WaylandSurface &surface) {
    for (Finger &finger : _fingers) {
        if (finger.surface == &surface) {
            cancel(finger);
            finger.surface = nullptr;
        }
    }
}

void WaylandTouch::down(WaylandSurface *surface, std::int32_t id, CGPoint point) {
    std::erase_if(_fingers, [id](const Finger &finger) { return finger.id == id; });
    if (!surface || _fingers.size() >= kMaxFingers) {
        return;
    }
    const bool isFirst = std::none_of(_fingers.begin(), _fingers.end(),
                                      [](const Finger &finger) { return finger.isFirst; });
    _fingers.push_back({id, surface, {}, point, point, isFirst, true});
    if (isFirst) {
        _fingers.back().gestures.pressed(point);
    }
}

void WaylandTouch::move(std::int32_t id, CGPoint point) {
    Finger *const finger = find(id);
    if (!finger) {
        return;
    }
    finger->point = point;
    finger->isTap =
        finger->isTap && std::hypot(point.x - finger->start.x, point.y - finger->start.y) <=
                             PointerGestures::kTapSlack;
    PointerListener *const heard = finger->surface ? finger->surface->pointerListener() : nullptr;
    if (heard && finger->isFirst) {
        finger->gestures.moved(point, *heard);
    }
}

/// Tells the listener last, because it may destroy the surface.
void WaylandTouch::up(std::int32_t id) {
    const Finger *const found = find(id);
    if (!found) {
        return;
    }
    Finger finger = *found;
    std::erase_if(_fingers, [id](const Finger &other) { return other.id == id; });
    PointerListener *const heard = finger.surface ? finger.surface->pointerListener() : nullptr;
    if (heard && finger.isFirst) {
        finger.gestures.released(finger.point, *heard);
    } else if (heard && finger.isTap) {
        heard->tapped(finger.start);
    }
}

void WaylandTouch::cancel() {
    for (Finger &finger : _fingers) {
        cancel(finger);
    }
    _fingers.clear();
}

void WaylandTouch::cancel(Finger &finger) const {
    PointerListener *const heard = finger.surface ? finger.surface->pointerListener() : nullptr;
    if (heard) {
        finger.gestures.cancelled(*heard);
    }
    finger.isTap = false;
}

WaylandTouch::Finger *WaylandTouch::find(std::int32_t id) {
    const auto found = std::find_if(_fingers.begin(), _fingers.end(),
                                    [id](const Finger &finger) { return finger.id == id; });
    return found == _fingers.end() ? nullptr : &*found;
}

struct WaylandSeat::Events {
    static void capabilities(void *data, wl_seat *, std::uint32_t capabilities) {
        static_cast<WaylandSeat *>(data)->setCapabilities(capabilities);
    }

    static void name(void *, wl_seat *, const char *) {}

    static constexpr wl_seat_listener kSeat{.capabilities = capabilities, .name = name};
};

WaylandSeat::WaylandSeat(wl_seat *seat, std::uint32_t number, WaylandCursor &cursor)
    : _seat(seat), _number(number), _cursor(cursor) {
    wl_seat_add_listener(_seat, &Events::kSeat, this);
}

WaylandSeat::~WaylandSeat() {
    setCapabilities(0);
    if (wl_seat_get_version(_seat) >= WL_SEAT_RELEASE_SINCE_VERSION) {
        wl_seat_release(_seat);
    } else {
        wl_seat_destroy(_seat);
    }
}

void WaylandSeat::forget(const WaylandSurface &surface) {
    if (_pointer) {
        _pointer->forget(surface);
    }
    if (_touch) {
        _touch->forget(surface);
    }
}

void WaylandSeat::setCapabilities(std::uint32_t capabilities) {
    if ((capabilities & WL_SEAT_CAPABILITY_POINTER) == 0) {
        _pointer.reset();
    } else if (!_pointer) {
        _pointer = std::make_unique<WaylandPointer>(wl_seat_get_pointer(_seat), _cursor);
    }
    if ((capabilities & WL_SEAT_CAPABILITY_TOUCH) == 0) {
        _touch.reset();
    } else if (!_touch) {
        _touch = std::make_unique<WaylandTouch>(wl_seat_get_touch(_seat));
    }
}

} // namespace Lumivera
