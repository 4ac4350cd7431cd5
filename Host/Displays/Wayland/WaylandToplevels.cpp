#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandToplevels.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Lumivera {

namespace {

bool contains(const std::vector<const wl_output *> &outputs, const wl_output *output) {
    return std::find(outputs.begin(), outputs.end(), output) != outputs.end();
}

void destroyManager(zwlr_foreign_toplevel_manager_v1 *&manager) {
    if (manager) {
        zwlr_foreign_toplevel_manager_v1_destroy(std::exchange(manager, nullptr));
    }
}

} // namespace

struct WaylandToplevels::Events {
    static void toplevel(void *data, zwlr_foreign_toplevel_manager_v1 *,
                         zwlr_foreign_toplevel_handle_v1 *handle) {
        auto &self = *static_cast<WaylandToplevels *>(data);
        self._toplevels.push_back(
            std::make_unique<Toplevel>(Toplevel{&self, handle, State(), State()}));
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kHandle,
                                                     self._toplevels.back().get());
    }

    static void finished(void *data, zwlr_foreign_toplevel_manager_v1 *) {
        destroyManager(static_cast<WaylandToplevels *>(data)->_manager);
    }

    static void text(void *, zwlr_foreign_toplevel_handle_v1 *, const char *) {}

    static void outputEnter(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_output *output) {
        auto &outputs = static_cast<Toplevel *>(data)->pending.outputs;
        if (output && !contains(outputs, output)) {
            outputs.push_back(output);
        }
    }

    static void outputLeave(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_output *output) {
        std::erase(static_cast<Toplevel *>(data)->pending.outputs, output);
    }

    static void state(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_array *states) {
        State &state = static_cast<Toplevel *>(data)->pending;
        const auto *const first = static_cast<const std::uint32_t *>(states->data);
        const auto *const last = first + states->size / sizeof(std::uint32_t);
        const auto has = [&](std::uint32_t wanted) {
            return std::find(first, last, wanted) != last;
        };
        state.isMaximized = has(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MAXIMIZED);
        state.isMinimized = has(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED);
        state.isActivated = has(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED);
        state.isFullScreen = has(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_FULLSCREEN);
    }

    static void done(void *data, zwlr_foreign_toplevel_handle_v1 *) {
        auto &toplevel = *static_cast<Toplevel *>(data);
        toplevel.current = toplevel.pending;
    }

    static void closed(void *data, zwlr_foreign_toplevel_handle_v1 *) {
        const auto &toplevel = *static_cast<Toplevel *>(data);
        toplevel.owner->remove(toplevel);
    }

    static void parent(void *, zwlr_foreign_toplevel_handle_v1 *,
                       zwlr_foreign_toplevel_handle_v1 *) {}

    static constexpr zwlr_foreign_toplevel_manager_v1_listener kManager{.toplevel = toplevel,
                                                                        .finished = finished};
    static const zwlr_foreign_toplevel_handle_v1_listener kHandle;
};

constexpr zwlr_foreign_toplevel_handle_v1_listener WaylandToplevels::Events::kHandle{
    .title = text,
    .app_id = text,
    .output_enter = outputEnter,
    .output_leave = outputLeave,
    .state = state,
    .done = done,
    .closed = closed,
    .parent = parent};

WaylandToplevels::~WaylandToplevels() {
    for (const auto &toplevel : _toplevels) {
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    }
    destroyManager(_manager);
}

void WaylandToplevels::follow(zwlr_foreign_toplevel_manager_v1 *manager) {
    destroyManager(_manager);
    _manager = manager;
    zwlr_foreign_toplevel_manager_v1_add_listener(_manager, &Events::kManager, this);
}

void WaylandToplevels::forget(const wl_output *output) {
    for (const auto &toplevel : _toplevels) {
        std::erase(toplevel->pending.outputs, output);
        std::erase(toplevel->current.outputs, output);
    }
}

/// Only the active window is certainly on a workspace that is shown. Sway 1.10 does not tell the
/// output of a window that opens full-screen, so such a window may be on any output.
std::optional<WaylandCover> WaylandToplevels::coverOf(const WaylandOutput &output,
                                                      std::optional<WaylandSize> /*free*/) const {
    if (!_manager) {
        return std::nullopt;
    }
    WaylandCover cover;
    if (_hasOverview && !hasActive()) {
        cover.known = SurfaceVisibility::Covered;
    }
    for (const auto &toplevel : _toplevels) {
        const State &state = toplevel->current;
        const bool isHere = contains(state.outputs, output.handle());
        if (!state.isMinimized && (isHere || state.outputs.empty())) {
            addCover(cover, state, isHere && (state.isActivated || _hasOverview));
        }
    }
    return cover;
}

bool WaylandToplevels::hasActive() const {
    return std::any_of(_toplevels.begin(), _toplevels.end(),
                       [](const auto &toplevel) { return toplevel->current.isActivated; });
}

void WaylandToplevels::addCover(WaylandCover &cover, const State &state, bool isShown) {
    if (state.isFullScreen) {
        cover.suspected = SurfaceVisibility::FullScreen;
    }
    if (isShown && state.isFullScreen) {
        cover.known = SurfaceVisibility::FullScreen;
    } else if (isShown && state.isMaximized && cover.known == SurfaceVisibility::Visible) {
        cover.known = SurfaceVisibility::Covered;
    }
}

void WaylandToplevels::remove(const Toplevel &toplevel) {
    zwlr_foreign_toplevel_handle_v1_destroy(toplevel.handle);
    std::erase_if(_toplevels, [&](const auto &entry) { return entry.get() == &toplevel; });
}

} // namespace Lumivera
