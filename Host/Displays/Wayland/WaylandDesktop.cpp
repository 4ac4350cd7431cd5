#include <plasma-window-management-client-protocol.h>
#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandDesktop.h"

#include "Host/Displays/Shared/SharedSurface.h"
#include "Host/Displays/Wayland/WaylandOutput.h"
#include "Host/Displays/Wayland/WaylandSurface.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <map>

namespace Lumivera {

namespace {

using Level = Finding::Level;

constexpr std::uint32_t kOutputVersion = 4;
constexpr std::uint32_t kSeatVersion = 7;
constexpr std::uint32_t kToplevelsVersion = 3;

/// The global of Phosh's compositor.
constexpr const char *kPhoshInterface = "phosh_private";

/// The survey waits that long for Sway's windows.
constexpr double kSwaySeconds = 1;

bool isDesktopNamed(std::string_view name) {
    const char *const names = std::getenv("XDG_CURRENT_DESKTOP");
    return names && std::string_view(names).find(name) != std::string_view::npos;
}

/// Sway 1.7 draws newer surfaces of the background beneath older ones, and others draw them in
/// front, as soon as Sway starts its own background again. Icons of other desktops are often on the
/// layer "bottom", and some animate only what is in the background.
WaylandLevel levelFor(LayerChoice choice, bool isSway) {
    const bool isBottom =
        choice == LayerChoice::Bottom || (choice != LayerChoice::Background && isSway);
    return isBottom ? WaylandLevel::Bottom : WaylandLevel::Background;
}

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

    /// Whether the compositor has the interface in that version or a newer one.
    bool has(const char *interface, std::uint32_t version = 1) const {
        const auto found = _interfaces.find(interface);
        return found != _interfaces.end() && found->second >= version;
    }

    std::vector<std::unique_ptr<WaylandOutput>> outputs;

  private:
    static void added(void *data, wl_registry *registry, std::uint32_t number,
                      const char *interface, std::uint32_t version) {
        auto &offers = *static_cast<Offers *>(data);
        offers._interfaces[interface] = version;
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
    std::map<std::string, std::uint32_t> _interfaces;
};

Finding layerShell(const Offers &offers) {
    if (offers.has("zwlr_layer_shell_v1")) {
        return {"layer shell", Level::Good, "can show the wallpaper behind the windows", ""};
    }
    return {"layer shell", Level::Bad,
            "is missing: this desktop lets no other program behind its windows",
            "use a desktop that has it (Sway, Hyprland, KDE, Phosh and others), or an X11 session"};
}

bool isPlasma(const Offers &offers) { return offers.has("org_kde_plasma_shell"); }

/// Plasma has its icons, its menu and its widgets in one window, which ours hides.
std::vector<Finding> icons(const Offers &offers) {
    if (!isPlasma(offers)) {
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

Finding layer(LayerChoice choice, bool isSway) {
    if (isSway && choice == LayerChoice::Background) {
        return {"layer", Level::Lacking,
                "\"background\", where Sway's own background may hide the wallpaper",
                "choose layer = \"auto\", or remove the lines `output ... bg` from Sway's "
                "configuration and log in again"};
    }
    if (isSway) {
        return {"layer", Level::Good,
                "\"bottom\", in front of Sway's own background, beside its bars", ""};
    }
    return levelFor(choice, isSway) == WaylandLevel::Bottom
               ? Finding{"layer", Level::Good, "\"bottom\", in front of other backgrounds", ""}
               : Finding{"layer", Level::Good, "\"background\", behind everything", ""};
}

Finding covers(const Offers &offers, bool isSwayKnown) {
    if (isSwayKnown) {
        return {"Sway's windows", Level::Good,
                "tiles that fill a workspace and full-screen windows let the wallpaper rest", ""};
    }
    if (isDesktopNamed("sway")) {
        return {"Sway's windows", Level::Lacking,
                "Sway does not tell where they are, so the wallpaper does not rest behind tiles",
                "start the program from Sway's configuration: exec lumivera desktop"};
    }
    if (offers.has("org_kde_plasma_window_management", KWinWindows::kOldestVersion)) {
        return {"KWin's windows", Level::Good,
                "windows that hide the screen let the wallpaper rest", ""};
    }
    if (isPlasma(offers)) {
        return {"KWin's windows", Level::Lacking,
                "KWin does not tell where they are, so the wallpaper rests only behind full-screen "
                "windows",
                "install the program below /usr, /usr/local or ~/.local, where KWin finds its "
                "desktop entry, and start it from there"};
    }
    if (offers.has("zwlr_foreign_toplevel_manager_v1")) {
        return {"foreign toplevels", Level::Good,
                "maximized and full-screen windows let the wallpaper rest", ""};
    }
    return {"foreign toplevels", Level::Lacking,
            "the wallpaper rests only when the compositor asks for no more pictures",
            "use a compositor that offers wlr-foreign-toplevel-management"};
}

bool hasOverview(const Offers &offers) {
    return isDesktopNamed("Phosh") && offers.has(kPhoshInterface);
}

} // namespace

DesktopSurvey surveyWayland(LayerChoice choice) {
    DescriptorWaiter waiter;
    WaylandConnection connection(waiter);
    const Offers offers(connection);
    SwayWindows sway(waiter, [] {});
    sway.follow(connection.descriptor());
    const Clock::Nanoseconds end = Clock::current().deadlineAfter(kSwaySeconds);
    while (sway.isSway() && !sway.isKnown() && NSRunLoop::mainRunLoop().runNextCall(end)) {
    }
    DesktopSurvey survey;
    survey.system = "Wayland";
    survey.findings = {layerShell(offers), scales(offers), covers(offers, sway.isKnown())};
    if (survey.findings[0].level == Level::Good) {
        survey.findings.insert(survey.findings.begin() + 1, layer(choice, sway.isSway()));
    }
    if (hasOverview(offers)) {
        survey.findings.push_back({"overview", Level::Good,
                                   "hides the wallpaper, which is seen beside windows that do not "
                                   "fill the screen",
                                   ""});
    }
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
WaylandDesktop::WaylandDesktop(DescriptorWaiter &waiter, LayerChoice choice)
    : _connection(waiter), _cursor(_globals), _sway(waiter, [this] { settleSurfaces(); }),
      _layerChoice(choice) {
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
    _sway.follow(_connection.descriptor());
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

void WaylandDesktop::setLayerChoice(LayerChoice choice) {
    _layerChoice = choice;
    for (const auto &place : _places) {
        if (place->surface) {
            place->surface->setLevel(level());
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
    } else if (interface == org_kde_plasma_window_management_interface.name &&
               version >= KWinWindows::kOldestVersion) {
        void *const manager =
            bind(org_kde_plasma_window_management_interface, KWinWindows::kNewestVersion);
        _kwin.follow(static_cast<org_kde_plasma_window_management *>(manager));
    } else if (interface == kPhoshInterface && isDesktopNamed("Phosh")) {
        _isPhosh = true;
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

WaylandLevel WaylandDesktop::level() const { return levelFor(_layerChoice, _sway.isSway()); }

/// Sway and KWin know more of their windows than what is told as foreign toplevels.
WaylandCover WaylandDesktop::coverOf(const Place &place) const {
    for (const WaylandWindows *const windows :
         std::initializer_list<const WaylandWindows *>{&_sway, &_kwin, &_toplevels}) {
        if (const auto cover = windows->coverOf(place.output, place.surface->freeSize())) {
            return *cover;
        }
    }
    return {};
}

void WaylandDesktop::openSurfaces() {
    for (const auto &place : _places) {
        if (!place->surface && place->output.isKnown() && !place->isGone && !place->isGivenUp) {
            place->surface = std::make_unique<WaylandSurface>(_globals, place->output, level());
            if (_listener) {
                _listener->outputAdded(*place->surface);
            }
        }
    }
}

/// Phosh shows its overview on one of several outputs, and does not tell on which.
void WaylandDesktop::settleSurfaces() {
    const auto outputs = std::count_if(_places.begin(), _places.end(),
                                       [](const auto &place) { return !place->isGone; });
    _toplevels.setHasOverview(_isPhosh && outputs == 1);
    for (const auto &place : _places) {
        if (place->isGone) {
            dropSurface(*place);
        } else if (place->surface) {
            place->surface->settle(coverOf(*place));
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
    _sway.end();
    for (const auto &place : _places) {
        if (place->surface) {
            place->surface->die();
        }
    }
}

} // namespace Lumivera
