#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/KWinWindows.h"
#include "Host/Displays/Wayland/SwayWindows.h"
#include "Host/Displays/Wayland/WaylandConnection.h"
#include "Host/Displays/Wayland/WaylandSeat.h"
#include "Host/Displays/Wayland/WaylandToplevels.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

struct wl_registry;

namespace Lumivera {

class WaylandSurface;
enum class WaylandLevel;

/// What the Wayland compositor of the session offers with that choice of a layer. A HostError when
/// there is none.
DesktopSurvey surveyWayland(LayerChoice choice = LayerChoice::Automatic);

/// The desktop of a Wayland compositor that has a layer shell. An output counts as hidden when the
/// compositor sends no more frame callbacks, or tells that the active window is maximized or
/// full-screen. Several windows side by side, or one that is not active, count only on Sway and
/// KWin, which tell where they are, or where the compositor stops the frame callbacks. Main thread.
class WaylandDesktop final : public Desktop, private WaylandConnection::Listener {
  public:
    /// Connects to the compositor that the environment names. A HostError when there is none, when
    /// it does not answer within 15 seconds or has no layer shell.
    explicit WaylandDesktop(DescriptorWaiter &waiter, LayerChoice choice = LayerChoice::Automatic);
    ~WaylandDesktop() override;

    WaylandDesktop(const WaylandDesktop &) = delete;
    WaylandDesktop &operator=(const WaylandDesktop &) = delete;

    void setListener(Desktop::Listener *listener) override;
    std::string name() const override { return "Wayland"; }
    void setLayerChoice(LayerChoice choice) override;

  private:
    struct Events;
    struct Place;

    void add(std::uint32_t number, std::string_view interface, std::uint32_t version);
    void remove(std::uint32_t number);
    void describeOutputs();
    void eventsDispatched() override;
    void connectionLost(const std::string &reason) override;
    WaylandLevel level() const;
    WaylandCover coverOf(const Place &place) const;
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
    SwayWindows _sway;
    KWinWindows _kwin;
    LayerChoice _layerChoice;
    bool _isPhosh = false;
    std::vector<std::unique_ptr<Place>> _places;
    std::vector<std::unique_ptr<WaylandSeat>> _seats;
};

} // namespace Lumivera
