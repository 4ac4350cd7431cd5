#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/X11/X11Connection.h"

#include <cstddef>
#include <set>

namespace Lumivera {

/// What is left of a rectangle when others are taken away.
class RemainingArea {
  public:
    /// From this number of pieces on nothing more is taken away, which limits the work.
    static constexpr std::size_t kMaxPieces = 4096;

    explicit RemainingArea(const DeviceRect &whole);

    void remove(const DeviceRect &rect);
    bool isEmpty() const { return _pieces.empty(); }

    /// In pixels.
    long long area() const;

  private:
    std::vector<DeviceRect> _pieces;
    std::vector<DeviceRect> _next;
};

/// The stacking order of other programs' windows, as the window manager tells it; without a window
/// manager, the order of the root's children. Main thread.
class X11WindowStack {
  public:
    /// The caller selects the events of the root's properties and children. The connection is not
    /// owned.
    explicit X11WindowStack(X11Connection &connection) : _connection(connection) {}

    /// Whether read() may find something else after the event.
    bool isChange(const X11Event &event) const;

    /// Reads everything anew. That takes a few round trips, however many windows there are.
    void read();

    /// Whether windows hide that part of the root.
    SurfaceVisibility visibilityOf(const DeviceRect &area) const;

    /// The windows that overlap the area and lie beneath `window`, one of ours. Always empty with a
    /// window manager, which keeps the order itself.
    std::vector<std::uint32_t> windowsBeneath(std::uint32_t window, const DeviceRect &area) const;

  private:
    /// A window of another program that is shown.
    struct Window {
        std::uint32_t number = 0;

        /// In pixels of the root, without the frame.
        DeviceRect area;

        /// The parts of the root that it hides, with its frame.
        std::vector<DeviceRect> opaque;

        bool isFullScreen = false;

        /// Nothing for a window that is on all workspaces.
        std::optional<std::uint32_t> workspace;
    };

    class Query;

    bool isManagersProperty(std::uint32_t name) const;
    bool isWindowsProperty(std::uint32_t name) const;
    bool readManagersWindows();
    bool isManagerThere(const std::vector<std::uint32_t> &check) const;
    void readChildrenOfRoot();
    void watch();
    bool isOnCurrentWorkspace(const Window &window) const;

    X11Connection &_connection;

    /// From bottom to top, our own included.
    std::vector<std::uint32_t> _order;

    /// The shown windows of other programs, in the same order.
    std::vector<Window> _windows;

    std::set<std::uint32_t> _watched;
    std::optional<std::uint32_t> _currentWorkspace;
    bool _isManaged = false;
};

} // namespace Lumivera
