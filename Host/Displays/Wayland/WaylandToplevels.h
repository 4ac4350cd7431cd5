#pragma once

#include "Host/Displays/Wayland/WaylandWindows.h"

#include <memory>
#include <vector>

struct wl_output;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace Lumivera {

/// The windows of all programs, to know which outputs they hide. A compositor tells whether a
/// window is full-screen or maximized, but not its place or workspace. So only the active window is
/// known to be visible, and windows side by side are never found to hide an output. Main thread.
class WaylandToplevels final : public WaylandWindows {
  public:
    WaylandToplevels() = default;
    ~WaylandToplevels();

    WaylandToplevels(const WaylandToplevels &) = delete;
    WaylandToplevels &operator=(const WaylandToplevels &) = delete;

    /// Owns the manager, which reports the windows.
    void follow(zwlr_foreign_toplevel_manager_v1 *manager);

    /// Call it before the output is destroyed.
    void forget(const wl_output *output);

    /// The shell has no workspaces, and its overview or its lock screen hides the only output while
    /// no window is active, as with Phosh.
    void setHasOverview(bool hasOverview) { _hasOverview = hasOverview; }

    std::optional<WaylandCover> coverOf(const WaylandOutput &output,
                                        std::optional<WaylandSize> free) const override;

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
    bool hasActive() const;
    static void addCover(WaylandCover &cover, const State &state, bool isShown);

    zwlr_foreign_toplevel_manager_v1 *_manager = nullptr;
    bool _hasOverview = false;
    std::vector<std::unique_ptr<Toplevel>> _toplevels;
};

} // namespace Lumivera
