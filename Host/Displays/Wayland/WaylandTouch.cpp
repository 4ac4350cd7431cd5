#include <wayland-client.h>

#include "Host/Displays/Wayland/WaylandTouch.h"

#include "Host/Displays/Wayland/WaylandSurface.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

/// More than hands have; the rest is not followed.
constexpr std::size_t kMostFingers = 32;

} // namespace

struct WaylandTouch::Events {
    static WaylandTouch &self(void *data) { return *static_cast<WaylandTouch *>(data); }

    static CGPoint point(wl_fixed_t x, wl_fixed_t y) {
        return {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    }

    static void down(void *data, wl_touch *, std::uint32_t, std::uint32_t, wl_surface *surface,
                     std::int32_t id, wl_fixed_t x, wl_fixed_t y) {
        void *const owner = surface ? wl_surface_get_user_data(surface) : nullptr;
        self(data).down(static_cast<WaylandSurface *>(owner), id, point(x, y));
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
    if (!surface || _fingers.size() >= kMostFingers) {
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

/// The listener is told last: it may make the surface go.
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

} // namespace Lumivera
