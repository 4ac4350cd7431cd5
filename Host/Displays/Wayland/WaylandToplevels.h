#pragma once

#include "Host/Displays/Desktop.h"

#include <memory>
#include <vector>

struct wl_output;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace Lumivera {

/// How windows hide an output.
struct WaylandCover {
    /// What the active window does; Visible when it does not hide the output.
    SurfaceVisibility known = SurfaceVisibility::Visible;

    /// Reason to report if frame callbacks stop although the active window does not hide the
    /// output.
    SurfaceVisibility suspected = SurfaceVisibility::Covered;
};

/// The windows of all programs, to know which outputs they hide. A compositor tells whether a
/// window is full-screen or maximized, but not its place or workspace. So only the active window is
/// known to be visible, and windows side by side are never found to hide an output. Main thread.
class WaylandToplevels final {
  public:
    WaylandToplevels() = default;
    ~WaylandToplevels();

    WaylandToplevels(const WaylandToplevels &) = delete;
    WaylandToplevels &operator=(const WaylandToplevels &) = delete;

    /// Owns the manager, which reports the windows.
    void follow(zwlr_foreign_toplevel_manager_v1 *manager);

    /// Call it before the output is destroyed.
    void forget(const wl_output *output);

    WaylandCover coverOf(const wl_output *output) const;

  private:
    struct Events;

    struct State {
        bool isFullScreen = false;
        bool isMaximized = false;
        bool isMinimized = false;
        bool isActivated = false;
        std::vector<const wl_output *> outputs;
    };

    struct Toplevel {
        WaylandToplevels *owner;
        zwlr_foreign_toplevel_handle_v1 *handle;
        State pending;
        State current;
    };

    void remove(const Toplevel &toplevel);

    zwlr_foreign_toplevel_manager_v1 *_manager = nullptr;
    std::vector<std::unique_ptr<Toplevel>> _toplevels;
};

} // namespace Lumivera
