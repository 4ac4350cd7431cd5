#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/WaylandConnection.h"
#include "Host/Displays/Wayland/WaylandSeat.h"
#include "Host/Displays/Wayland/WaylandToplevels.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

struct wl_registry;

namespace Lumivera {

class WaylandOutput;
class WaylandSurface;

/// What the Wayland compositor of the session offers. A HostError when there is none.
DesktopSurvey surveyWayland();

/// The desktop of a Wayland compositor that has a layer shell. An output counts as hidden when the
/// compositor sends no more frame callbacks, or tells that the active window is maximized or
/// full-screen. Several windows side by side, or one that is not active, count only where the
/// compositor stops the frame callbacks. Main thread.
class WaylandDesktop final : public Desktop, private WaylandConnection::Listener {
  public:
    /// Connects to the compositor that the environment names. A HostError when there is none, when
    /// it does not answer within a few seconds or has no layer shell.
    explicit WaylandDesktop(DescriptorWaiter &waiter);
    ~WaylandDesktop() override;

    WaylandDesktop(const WaylandDesktop &) = delete;
    WaylandDesktop &operator=(const WaylandDesktop &) = delete;

    void setListener(Desktop::Listener *listener) override;
    std::string name() const override { return "Wayland"; }

  private:
    struct Events;
    struct Place;

    void add(std::uint32_t number, std::string_view interface, std::uint32_t version);
    void remove(std::uint32_t number);
    void describeOutputs();
    void eventsDispatched() override;
    void connectionLost(const std::string &reason) override;
    void openSurfaces();
    void settleSurfaces();
    void dropSurface(Place &place);
    void killSurfaces();

    Desktop::Listener *_listener = nullptr;
    WaylandConnection _connection;
    WaylandGlobals _globals;
    wl_registry *_registry = nullptr;
    WaylandCursor _cursor;
    WaylandToplevels _toplevels;
    std::vector<std::unique_ptr<Place>> _places;
    std::vector<std::unique_ptr<WaylandSeat>> _seats;
};

} // namespace Lumivera
