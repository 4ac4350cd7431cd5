#pragma once

#include "Host/Displays/PointerGestures.h"

#include <cstdint>
#include <memory>
#include <vector>

struct wl_cursor_theme;
struct wl_pointer;
struct wl_seat;
struct wl_surface;
struct wl_touch;

namespace Lumivera {

class WaylandGlobals;
class WaylandSurface;

/// The usual arrow as the pointer's image, which a Wayland client must set itself. The user's theme
/// is read when the arrow is first needed. Main thread.
class WaylandCursor final {
  public:
    explicit WaylandCursor(const WaylandGlobals &globals) : _globals(globals) {}
    ~WaylandCursor();

    WaylandCursor(const WaylandCursor &) = delete;
    WaylandCursor &operator=(const WaylandCursor &) = delete;

    /// Sets the arrow; `serial` is that of the pointer's enter event, `scale` in whole pixels a
    /// point. Does nothing when the theme has no arrow.
    void showFor(wl_pointer *pointer, std::uint32_t serial, int scale);

  private:
    void load(int scale);

    const WaylandGlobals &_globals;
    wl_cursor_theme *_theme = nullptr;
    wl_surface *_surface = nullptr;
    int _scale = 0;
};

/// A seat's mouse or touchpad: the left button taps and drags, sideways scrolling scrolls. Main
/// thread.
class WaylandPointer final {
  public:
    /// Takes over the pointer. The cursor outlives it.
    WaylandPointer(wl_pointer *pointer, WaylandCursor &cursor);
    ~WaylandPointer();

    WaylandPointer(const WaylandPointer &) = delete;
    WaylandPointer &operator=(const WaylandPointer &) = delete;

    /// Call it before the surface is destroyed.
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

    // One step of scrolling, which ends with a frame event.
    CGFloat _scrolled = 0;
    bool _isFromFinger = false;
    bool _isStopped = false;

    bool _isScrolling = false;
};

/// A seat's touch screen. The first finger taps and drags like a pointer. Further fingers that are
/// put down meanwhile tap when they are lifted where they were put down. Main thread.
class WaylandTouch final {
  public:
    /// Takes over the touch screen.
    explicit WaylandTouch(wl_touch *touch);
    ~WaylandTouch();

    WaylandTouch(const WaylandTouch &) = delete;
    WaylandTouch &operator=(const WaylandTouch &) = delete;

    /// Call it before the surface is destroyed.
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

/// A seat with its pointer and touch screen, which may come and go. Main thread.
class WaylandSeat final {
  public:
    /// `number` is its number in the registry. Takes over the seat. The cursor outlives it.
    WaylandSeat(wl_seat *seat, std::uint32_t number, WaylandCursor &cursor);
    ~WaylandSeat();

    WaylandSeat(const WaylandSeat &) = delete;
    WaylandSeat &operator=(const WaylandSeat &) = delete;

    std::uint32_t number() const { return _number; }

    /// Call it before the surface is destroyed.
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
