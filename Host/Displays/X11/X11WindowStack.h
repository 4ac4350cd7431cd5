#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/RemainingArea.h"
#include "Host/Displays/X11/X11Connection.h"
#include "Host/Displays/X11/X11Layer.h"
#include "Host/Displays/X11/X11Window.h"
#include "Platform/Foundation/Clock.h"

#include <map>
#include <set>

namespace Lumivera {

/// Other programs' windows: what they hide, which of them show icons, and where they lie. Main
/// thread.
class X11WindowStack {
  public:
    /// The caller selects the events of the root's properties and children. The connection is not
    /// owned.
    explicit X11WindowStack(X11Connection &connection) : _connection(connection) {}

    /// Whether read() may find something else after the event.
    bool isChange(const X11Event &event) const;

    /// Reads everything anew. That takes a few round trips, however many windows there are.
    void read();

    /// As of the last read().
    const X11Scene &scene() const { return _scene; }

    /// Whether windows hide that part of the root from people. `surface` is our window there. What
    /// could be seen only in gaps that are too narrow for a petal counts as hidden.
    SurfaceVisibility visibilityOf(const DeviceRect &area, std::uint32_t surface) const;

    /// Whether the surface, one of our windows on that area, lies where the layer says. A window
    /// manager that manages it decides about the rest.
    bool isInPlace(std::uint32_t surface, const X11Layer &layer, const DeviceRect &area) const;

    /// Whether a press there belongs to the desktop: the child of the root that the pointer is in
    /// is none, ours, or the program's that shows the icons.
    bool isDesktop(std::uint32_t child) const;

  private:
    /// What the root's properties say.
    struct Manager {
        bool isThere = false;
        std::vector<std::uint32_t> clients;
        std::optional<std::uint32_t> workspace;
        std::optional<DeviceRect> workArea;
        bool isShowingDesktop = false;
    };

    /// The look of a window with icons, which is looked at again after a while.
    struct Look {
        bool isOpaque = true;
        Clock::Nanoseconds time = 0;
    };

    bool isManagersProperty(std::uint32_t name) const;
    void readManager();
    void readManagersName(const std::vector<std::uint32_t> &check);
    void readChildrenOfRoot();
    void readWindows();
    void readIcons();
    std::vector<std::uint32_t> candidates() const;
    std::uint32_t frameOf(std::uint32_t window) const;
    bool looksOpaque(const X11Window &window);
    bool hasOpaquePixels(const X11Window &window) const;
    std::string programOf(std::uint32_t window) const;
    void watch();
    void watchAlso(std::uint32_t window, std::set<std::uint32_t> &watched);
    bool isOnCurrentWorkspace(const X11Window &window) const;
    bool hasShownWindow(const std::vector<std::uint32_t> &children, const DeviceRect &area) const;
    bool isIconsBeneath(const X11IconWindow &icons, std::uint32_t surface) const;
    std::vector<DeviceRect> reservedParts(const DeviceRect &area) const;

    X11Connection &_connection;
    DeviceRect _root;
    X11Scene _scene;
    Manager _manager;
    std::uint32_t _blender = 0;
    std::uint32_t _managersWindow = 0;

    /// The children of the root from bottom to top, our own included.
    std::vector<std::uint32_t> _order;

    /// The shown windows of other programs, from bottom to top.
    std::vector<X11Window> _windows;

    std::set<std::uint32_t> _watched;
    std::map<std::uint32_t, Look> _looks;
};

} // namespace Lumivera
