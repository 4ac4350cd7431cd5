#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/X11/X11Connection.h"
#include "Host/Displays/X11/X11WindowQuery.h"

#include <set>

namespace Lumivera {

/// The windows of other programs, as the window manager tells of them; without one, as they lie
/// upon the root. Main thread.
class X11WindowStack {
  public:
    /// The caller awaits the events of the root's properties and children. The connection is not
    /// owned.
    explicit X11WindowStack(X11Connection &connection) : _connection(connection) {}

    /// Whether an event may mean that read() would find something else now.
    bool isChange(const X11Event &event) const;

    /// Looks anew, which takes a few turns of the server, however many windows there are.
    void read();

    /// Whether anything of that part of the root can be seen between the windows.
    SurfaceVisibility visibilityOf(const DeviceRect &area) const;

    /// Windows beneath that one of ours, where they are in its way and no window manager keeps the
    /// order.
    std::vector<std::uint32_t> windowsBeneath(std::uint32_t window, const DeviceRect &area) const;

  private:
    bool isManagersProperty(std::uint32_t name) const;
    bool isWindowsProperty(std::uint32_t name) const;
    bool readManagersWindows();
    bool isManagerThere(const std::vector<std::uint32_t> &check) const;
    void readChildrenOfRoot();
    void watch();
    bool isOnCurrentWorkspace(const X11WindowFacts &facts) const;

    X11Connection &_connection;

    /// From bottom to top, our own included.
    std::vector<std::uint32_t> _order;

    /// Those that are shown, in the same order.
    std::vector<X11WindowFacts> _windows;

    std::set<std::uint32_t> _watched;
    std::optional<std::uint32_t> _currentWorkspace;
    bool _isManaged = false;
};

} // namespace Lumivera
