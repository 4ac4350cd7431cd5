#pragma once

#include "Host/Displays/Desktop.h"

#include <memory>
#include <vector>

struct wl_output;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace Lumivera {

/// What windows hide an output.
struct WaylandCover {
    /// By the window that is worked in, or Visible when that does not hide it.
    SurfaceVisibility known = SurfaceVisibility::Visible;

    /// By what, if something should hide it that is not known.
    SurfaceVisibility suspected = SurfaceVisibility::Covered;
};

/// Everybody's windows, to know which outputs they hide. A compositor tells whether a window has
/// the whole output or is maximized, but not where it lies, nor on which workspace. So only the
/// window that is worked in is known to hide an output, and several windows side by side are not
/// seen to. Main thread.
class WaylandToplevels final {
  public:
    WaylandToplevels() = default;
    ~WaylandToplevels();

    WaylandToplevels(const WaylandToplevels &) = delete;
    WaylandToplevels &operator=(const WaylandToplevels &) = delete;

    /// Takes over the manager, through which windows are told.
    void follow(zwlr_foreign_toplevel_manager_v1 *manager);

    /// The output goes.
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
