#include <plasma-window-management-client-protocol.h>
#include <wayland-client.h>

#include "Host/Displays/Wayland/KWinWindows.h"

#include "Host/Displays/RemainingArea.h"

#include <algorithm>
#include <utility>

namespace Lumivera {

namespace {

constexpr std::uint32_t kActive = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;
constexpr std::uint32_t kMinimized = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MINIMIZED;
constexpr std::uint32_t kMaximized = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MAXIMIZED;
constexpr std::uint32_t kFullScreen = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_FULLSCREEN;

/// Panels, menus of panels and the desktop itself are not on the task bar.
constexpr std::uint32_t kNotOnTaskBar = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_SKIPTASKBAR;

int place(std::int32_t value) {
    return std::clamp(value, -WaylandOutput::kMaxDistance, WaylandOutput::kMaxDistance);
}

int length(std::uint32_t value) {
    constexpr std::uint32_t kMax = WaylandOutput::kMaxDistance;
    return static_cast<int>(std::min(value, kMax));
}

bool contains(const std::vector<std::string> &names, const std::string &name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

void add(std::vector<std::string> &names, const char *name) {
    if (!contains(names, name)) {
        names.emplace_back(name);
    }
}

/// Whether a window is on each of the active one's desktops or activities, of which one is shown.
bool isOnEach(const std::vector<std::string> &own, const std::vector<std::string> &actives) {
    return own.empty() ||
           (!actives.empty() && std::all_of(actives.begin(), actives.end(),
                                            [&](const auto &name) { return contains(own, name); }));
}

bool hasMiddleIn(const DeviceRect &output, const DeviceRect &area) {
    const int x = (area.left + area.right) / 2;
    const int y = (area.top + area.bottom) / 2;
    return output.contains({x, y, x + 1, y + 1});
}

} // namespace

struct KWinWindows::Events {
    using Manager = org_kde_plasma_window_management;
    using Handle = org_kde_plasma_window;

    static void windowAdded(void *data, Manager *manager, std::uint32_t, const char *name) {
        auto &self = *static_cast<KWinWindows *>(data);
        Handle *const handle = org_kde_plasma_window_management_get_window_by_uuid(manager, name);
        self._windows.push_back(
            std::unique_ptr<Window>(new Window{&self, handle, 0, {}, {}, {}, false}));
        org_kde_plasma_window_add_listener(handle, &kWindow, self._windows.back().get());
    }

    static void desktopShown(void *data, Manager *, std::uint32_t state) {
        static_cast<KWinWindows *>(data)->_isDesktopShown =
            state == ORG_KDE_PLASMA_WINDOW_MANAGEMENT_SHOW_DESKTOP_ENABLED;
    }

    static Window &window(void *data) { return *static_cast<Window *>(data); }

    static void stateChanged(void *data, Handle *, std::uint32_t states) {
        window(data).states = states;
    }

    static void geometry(void *data, Handle *, std::int32_t x, std::int32_t y, std::uint32_t width,
                         std::uint32_t height) {
        const int left = place(x);
        const int top = place(y);
        window(data).area = {left, top, left + length(width), top + length(height)};
    }

    static void desktopEntered(void *data, Handle *, const char *name) {
        add(window(data).desktops, name);
    }

    static void desktopLeft(void *data, Handle *, const char *name) {
        std::erase(window(data).desktops, name);
    }

    static void activityEntered(void *data, Handle *, const char *name) {
        add(window(data).activities, name);
    }

    static void activityLeft(void *data, Handle *, const char *name) {
        std::erase(window(data).activities, name);
    }

    static void initialState(void *data, Handle *) { window(data).isKnown = true; }

    static void unmapped(void *data, Handle *) { window(data).owner->remove(window(data)); }

    template <typename... Arguments> static void ignore(void *, Arguments...) {}

    /// Sets members by name, because newer headers have more of them; those stay null, as their
    /// events are of versions that are not bound.
    static constexpr org_kde_plasma_window_management_listener kManager = [] {
        org_kde_plasma_window_management_listener listener{};
        listener.show_desktop_changed = desktopShown;
        listener.window = ignore;
        listener.stacking_order_changed = ignore;
        listener.stacking_order_uuid_changed = ignore;
        listener.window_with_uuid = windowAdded;
        return listener;
    }();

    static constexpr org_kde_plasma_window_listener kWindow = [] {
        org_kde_plasma_window_listener listener{};
        listener.title_changed = ignore;
        listener.app_id_changed = ignore;
        listener.state_changed = stateChanged;
        listener.virtual_desktop_changed = ignore;
        listener.themed_icon_name_changed = ignore;
        listener.unmapped = unmapped;
        listener.initial_state = initialState;
        listener.parent_window = ignore;
        listener.geometry = geometry;
        listener.icon_changed = ignore;
        listener.pid_changed = ignore;
        listener.virtual_desktop_entered = desktopEntered;
        listener.virtual_desktop_left = desktopLeft;
        listener.application_menu = ignore;
        listener.activity_entered = activityEntered;
        listener.activity_left = activityLeft;
        listener.resource_name_changed = ignore;
        return listener;
    }();
};

KWinWindows::~KWinWindows() { clear(); }

void KWinWindows::follow(org_kde_plasma_window_management *manager) {
    clear();
    _manager = manager;
    org_kde_plasma_window_management_add_listener(_manager, &Events::kManager, this);
}

std::optional<WaylandCover> KWinWindows::coverOf(const WaylandOutput &output,
                                                 std::optional<WaylandSize> /*free*/) const {
    const DeviceRect area = output.area();
    if (!_manager || area.isEmpty()) {
        return std::nullopt;
    }
    return WaylandCover{visibilityOf(area), SurfaceVisibility::Covered};
}

bool KWinWindows::is(const Window &window, std::uint32_t state) {
    return (window.states & state) != 0;
}

bool KWinWindows::isShownBeside(const Window &active, const Window &window) {
    return window.isKnown && !is(window, kMinimized) && !window.area.isEmpty() &&
           isOnEach(window.desktops, active.desktops) &&
           isOnEach(window.activities, active.activities);
}

/// Plasma's own desktop lies beneath the wallpaper.
bool KWinWindows::isDesktopOn(const DeviceRect &output, const Window &window) {
    return is(window, kNotOnTaskBar) && window.area.contains(output);
}

const KWinWindows::Window *KWinWindows::activeWindow() const {
    const auto found = std::find_if(_windows.begin(), _windows.end(), [](const auto &window) {
        return window->isKnown && is(*window, kActive);
    });
    return found == _windows.end() ? nullptr : found->get();
}

SurfaceVisibility KWinWindows::visibilityOf(const DeviceRect &output) const {
    const Window *const active = activeWindow();
    if (!active || _isDesktopShown) {
        return SurfaceVisibility::Visible;
    }
    std::vector<const Window *> shown;
    for (const auto &window : _windows) {
        if (isShownBeside(*active, *window) && !isDesktopOn(output, *window)) {
            shown.push_back(window.get());
        }
    }
    return visibilityUnder(shown, output);
}

/// A maximized window hides the output with the panels beside it, whatever those are.
SurfaceVisibility KWinWindows::visibilityUnder(const std::vector<const Window *> &windows,
                                               const DeviceRect &output) {
    RemainingArea remaining(output);
    for (const Window *const window : windows) {
        const bool isHere = hasMiddleIn(output, window->area);
        if (isHere && is(*window, kFullScreen)) {
            return SurfaceVisibility::FullScreen;
        }
        remaining.removeWithGaps(isHere && is(*window, kMaximized) ? output : window->area);
    }
    return remaining.isEmpty() ? SurfaceVisibility::Covered : SurfaceVisibility::Visible;
}

void KWinWindows::clear() {
    for (const auto &window : _windows) {
        org_kde_plasma_window_destroy(window->handle);
    }
    _windows.clear();
    if (_manager) {
        org_kde_plasma_window_management_destroy(std::exchange(_manager, nullptr));
    }
}

void KWinWindows::remove(const Window &window) {
    org_kde_plasma_window_destroy(window.handle);
    std::erase_if(_windows, [&](const auto &entry) { return entry.get() == &window; });
}

} // namespace Lumivera
