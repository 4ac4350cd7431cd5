#pragma once

#include "Host/Displays/PointerGestures.h"

#include <cstdint>
#include <vector>

struct wl_touch;

namespace Lumivera {

class WaylandSurface;

/// A seat's touch screen. The first finger is like a pointer; every other one that comes while it
/// is down, and lifts where it came, taps. Main thread.
class WaylandTouch final {
  public:
    /// Takes over the touch screen.
    explicit WaylandTouch(wl_touch *touch);
    ~WaylandTouch();

    WaylandTouch(const WaylandTouch &) = delete;
    WaylandTouch &operator=(const WaylandTouch &) = delete;

    /// The surface goes.
    void forget(const WaylandSurface &surface);

  private:
    struct Events;

    struct Finger {
        std::int32_t id;
        WaylandSurface *surface;
        PointerGestures gestures;
        CGPoint point;
        CGPoint start;
        bool isFirst;
        bool isTap;
    };

    void down(WaylandSurface *surface, std::int32_t id, CGPoint point);
    void move(std::int32_t id, CGPoint point);
    void up(std::int32_t id);
    void cancel();
    void cancel(Finger &finger) const;
    Finger *find(std::int32_t id);

    wl_touch *const _touch;
    std::vector<Finger> _fingers;
};

} // namespace Lumivera
