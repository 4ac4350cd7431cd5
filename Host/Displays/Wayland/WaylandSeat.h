#pragma once

#include "Host/Displays/Wayland/WaylandPointer.h"
#include "Host/Displays/Wayland/WaylandTouch.h"

#include <cstdint>
#include <memory>

struct wl_seat;

namespace Lumivera {

/// Somebody's pointer and touch screen, which may come and go. Main thread.
class WaylandSeat final {
  public:
    /// `number` is the registry's for it. Takes over the seat. The cursor outlives it.
    WaylandSeat(wl_seat *seat, std::uint32_t number, WaylandCursor &cursor);
    ~WaylandSeat();

    WaylandSeat(const WaylandSeat &) = delete;
    WaylandSeat &operator=(const WaylandSeat &) = delete;

    std::uint32_t number() const { return _number; }

    /// The surface goes.
    void forget(const WaylandSurface &surface);

  private:
    struct Events;

    void setCapabilities(std::uint32_t capabilities);

    wl_seat *const _seat;
    const std::uint32_t _number;
    WaylandCursor &_cursor;
    std::unique_ptr<WaylandPointer> _pointer;
    std::unique_ptr<WaylandTouch> _touch;
};

} // namespace Lumivera
