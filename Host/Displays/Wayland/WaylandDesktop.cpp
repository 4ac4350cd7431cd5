#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandDesktop.h"

#include "Host/Displays/Shared/SharedSurface.h"
#include "Host/Displays/Wayland/WaylandOutput.h"
#include "Host/Displays/Wayland/WaylandSurface.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

namespace Lumivera {

namespace {

using Level = Finding::Level;

constexpr std::uint32_t kOutputVersion = 4;
constexpr std::uint32_t kSeatVersion = 7;
constexpr std::uint32_t kToplevelsVersion = 3;

/// Lists what a compositor offers: its globals and outputs.
class Offers {
  public:
    explicit Offers(WaylandConnection &connection)
        : _registry(wl_display_get_registry(connection.display())) {
        static constexpr wl_registry_listener kEvents{.global = added, .global_remove = removed};
        wl_registry_add_listener(_registry, &kEvents, this);
        connection.roundTrip();
        for (const auto &output : outputs) {
            if (_globals.outputManager) {
                output->describeBy(_globals.outputManager);
            }
        }
        connection.roundTrip();
    }
    ~Offers() {
        outputs.clear();
        wl_registry_destroy(_registry);
    }
    Offers(const Offers &) = delete;
    Offers &operator=(const Offers &) = delete;

    bool has(const char *interface) const { return _interfaces.count(interface) > 0; }

    std::vector<std::unique_ptr<WaylandOutput>> outputs;

  private:
    static void added(void *data, wl_registry *registry, std::uint32_t number,
                      const char *interface, std::uint32_t version) {
        auto &offers = *static_cast<Offers *>(data);
        offers._interfaces.insert(interface);
        if (std::string_view(interface) == wl_output_interface.name) {
            void *const output = WaylandGlobals::bindNewest(registry, number, wl_output_interface,
                                                            version, kOutputVersion);
            offers.outputs.push_back(
                std::make_unique<WaylandOutput>(static_cast<wl_output *>(output), number));
        } else {
            offers._globals.bind(registry, number, interface, version);
        }
    }
    static void removed(void *, wl_registry *, std::uint32_t) {}

    wl_registry *const _registry;
    WaylandGlobals _globals;
    std::set<std::string> _interfaces;
};

Finding layerShell(const Offers &offers) {
    if (offers.has("zwlr_layer_shell_v1")) {
        return {"layer shell", Level::Good, "can show the wallpaper behind the windows", ""};
    }
    return {"layer shell", Level::Bad,
            "is missing: this desktop lets no other program behind its windows",
            "use a desktop that has it (Sway, Hyprland, KDE, Phosh and others), or an X11 session"};
}

/// Plasma has its icons, its menu and its widgets in one window, which ours hides.
std::vector<Finding> icons(const Offers &offers) {
    if (!offers.has("org_kde_plasma_shell")) {
        return {};
    }
    return {{"icons", Level::Lacking,
             "the wallpaper hides Plasma's icons, widgets and desktop menu",
             SharedSurface::kWayOnPlasma}};
}

Finding scales(const Offers &offers) {
    if (offers.has("wp_fractional_scale_manager_v1") && offers.has("wp_viewporter")) {
        return {"fractional scale", Level::Good, "pictures are sharp at every scale", ""};
    }
    return {"fractional scale", Level::Lacking, "pictures are sharp at whole scales only",
            "use a newer compositor, or a whole scale"};
}

Finding covers(const Offers &offers) {
    if (offers.has("zwlr_foreign_toplevel_manager_v1")) {
        return {"foreign toplevels", Level::Good,
                "maximized and full-screen windows let the wallpaper rest", ""};
    }
    return {"foreign toplevels", Level::Lacking,
            "the wallpaper rests only when the compositor asks for no more pictures",
            "use a compositor that offers wlr-foreign-toplevel-management"};
}

} // namespace

DesktopSurvey surveyWayland() {
    DescriptorWaiter waiter;
    WaylandConnection connection(waiter);
    const Offers offers(connection);
    DesktopSurvey survey;
    survey.system = "Wayland";
    survey.findings = {layerShell(offers), scales(offers), covers(offers)};
    std::ranges::move(icons(offers), std::back_inserter(survey.findings));
    for (const auto &output : offers.outputs) {
        const CGFloat density = static_cast<CGFloat>(output->scale()) / WaylandOutput::kScaleParts;
        const WaylandSize size = output->size();
        survey.outputs.push_back(
            {output->name(), static_cast<unsigned>(std::lround(size.width * density)),
             static_cast<unsigned>(std::lround(size.height * density)), density});
    }
    return survey;
}

/// An output and its surface, which is created once the output is known.
struct WaylandDesktop::Place {
    WaylandOutput output;
    std::unique_ptr<WaylandSurface> surface;
    bool isGone = false;
    bool isGivenUp = false;
};

struct WaylandDesktop::Events {
    static void global(void *data, wl_registry *, std::uint32_t number, const char *interface,
                       std::uint32_t version) {
        static_cast<WaylandDesktop *>(data)->add(number, interface, version);
    }

    static void globalRemove(void *data, wl_registry *, std::uint32_t number) {
        static_cast<WaylandDesktop *>(data)->remove(number);
    }

    static constexpr wl_registry_listener kRegistry{.global = global,
                                                    .global_remove = globalRemove};
};

/// The first round trip brings the globals, the second their initial events.
WaylandDesktop::WaylandDesktop(DescriptorWaiter &waiter) : _connection(waiter), _cursor(_globals) {
    _registry = wl_display_get_registry(_connection.display());
    wl_registry_add_listener(_registry, &Events::kRegistry, this);
    try {
        _connection.roundTrip();
        _globals.checkNeeds();
        _connection.roundTrip();
    } catch (...) {
        _places.clear();
        _seats.clear();
        wl_registry_destroy(_registry);
        throw;
    }
    openSurfaces();
    _connection.listen(*this);
}

/// Does not call the listener.
WaylandDesktop::~WaylandDesktop() {
    killSurfaces();
    _seats.clear();
    _places.clear();
    wl_registry_destroy(_registry);
}

void WaylandDesktop::setListener(Desktop::Listener *listener) {
    _listener = listener;
    for (const auto &place : _places) {
        if (_listener && place->surface) {
            _listener->outputAdded(*place->surface);
        }
    }
}

void WaylandDesktop::add(std::uint32_t number, std::string_view interface, std::uint32_t version) {
    const auto bind = [&](const wl_interface &wanted, std::uint32_t known) {
        return WaylandGlobals::bindNewest(_registry, number, wanted, version, known);
    };
    if (interface == wl_output_interface.name) {
        void *const output = bind(wl_output_interface, kOutputVersion);
        _places.push_back(
            std::unique_ptr<Place>(new Place{{static_cast<wl_output *>(output), number}, nullptr}));
    } else if (interface == wl_seat_interface.name) {
        void *const seat = bind(wl_seat_interface, kSeatVersion);
        _seats.push_back(
            std::make_unique<WaylandSeat>(static_cast<wl_seat *>(seat), number, _cursor));
    } else if (interface == zwlr_foreign_toplevel_manager_v1_interface.name) {
        void *const manager = bind(zwlr_foreign_toplevel_manager_v1_interface, kToplevelsVersion);
        _toplevels.follow(static_cast<zwlr_foreign_toplevel_manager_v1 *>(manager));
    } else {
        _globals.bind(_registry, number, interface, version);
    }
    describeOutputs();
}

void WaylandDesktop::remove(std::uint32_t number) {
    for (const auto &place : _places) {
        place->isGone = place->isGone || place->output.number() == number;
    }
    std::erase_if(_seats, [number](const auto &seat) { return seat->number() == number; });
}

/// Called for every new global, because the registry may name outputs before their manager.
void WaylandDesktop::describeOutputs() {
    for (const auto &place : _places) {
        if (_globals.outputManager) {
            place->output.describeBy(_globals.outputManager);
        }
    }
}

void WaylandDesktop::eventsDispatched() {
    openSurfaces();
    settleSurfaces();
    std::erase_if(_places, [](const auto &place) { return place->isGone; });
}

/// The listener may destroy the desktop.
void WaylandDesktop::connectionLost(const std::string &reason) {
    killSurfaces();
    if (_listener) {
        _listener->desktopLost(reason);
    }
}

void WaylandDesktop::openSurfaces() {
    for (const auto &place : _places) {
        if (!place->surface && place->output.isKnown() && !place->isGone && !place->isGivenUp) {
            place->surface = std::make_unique<WaylandSurface>(_globals, place->output);
            if (_listener) {
                _listener->outputAdded(*place->surface);
            }
        }
    }
}

void WaylandDesktop::settleSurfaces() {
    for (const auto &place : _places) {
        if (place->isGone) {
            dropSurface(*place);
        } else if (place->surface) {
            place->surface->settle(_toplevels.coverOf(place->output.handle()));
            place->isGivenUp = place->surface->isGivenUp();
        }
        if (place->isGivenUp) {
            dropSurface(*place);
        }
    }
}

void WaylandDesktop::dropSurface(Place &place) {
    _toplevels.forget(place.output.handle());
    if (place.surface) {
        for (const auto &seat : _seats) {
            seat->forget(*place.surface);
        }
        if (_listener) {
            _listener->outputRemoved(*place.surface);
        }
        place.surface.reset();
    }
}

void WaylandDesktop::killSurfaces() {
    for (const auto &place : _places) {
        if (place->surface) {
            place->surface->die();
        }
    }
}

} // namespace Lumivera
