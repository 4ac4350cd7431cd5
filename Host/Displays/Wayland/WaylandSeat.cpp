#include <wayland-client.h>

#include "Host/Displays/Wayland/WaylandSeat.h"

namespace Lumivera {

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
