#pragma once

#include <cstdint>

struct wl_cursor_theme;
struct wl_pointer;
struct wl_surface;

namespace Lumivera {

class WaylandGlobals;

/// The usual arrow, which every program on Wayland draws for itself. The user's theme is read when
/// the arrow is first needed. Main thread.
class WaylandCursor final {
  public:
    explicit WaylandCursor(const WaylandGlobals &globals) : _globals(globals) {}
    ~WaylandCursor();

    WaylandCursor(const WaylandCursor &) = delete;
    WaylandCursor &operator=(const WaylandCursor &) = delete;

    /// Gives the pointer the arrow; `serial` is that of its coming, `scale` whole pixels a point.
    /// Without an arrow in the theme the pointer stays as it is.
    void showFor(wl_pointer *pointer, std::uint32_t serial, int scale);

  private:
    void load(int scale);

    const WaylandGlobals &_globals;
    wl_cursor_theme *_theme = nullptr;
    wl_surface *_surface = nullptr;
    int _scale = 0;
};

} // namespace Lumivera
