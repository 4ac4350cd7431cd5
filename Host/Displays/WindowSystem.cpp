#include "Host/Displays/WindowSystem.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Host/Displays/SDL/SDLWindow.h"
#include "Host/Displays/Wayland/WaylandDesktop.h"
#include "Host/Displays/X11/GnomeExtension.h"
#include "Host/Displays/X11/X11Desktop.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <cstdlib>

namespace Lumivera {

namespace {

constexpr unsigned kHeadlessWidth = 1920;
constexpr unsigned kHeadlessHeight = 1080;

bool isSet(const char *variable) {
    const char *value = std::getenv(variable);
    return value && *value;
}

/// "wayland" or "x11". A HostError when the environment names neither.
std::string systemOfSession() {
    if (isSet("WAYLAND_DISPLAY")) {
        return "wayland";
    }
    if (isSet("DISPLAY")) {
        return "x11";
    }
    throw HostError("display", "there is no desktop: neither WAYLAND_DISPLAY nor DISPLAY is set",
                    "start it from within the desktop, or use `lumivera render BUNDLE -o film.webp`"
                    " to see the wallpaper without one");
}

bool isGnome() {
    return isSet("XDG_CURRENT_DESKTOP") &&
           std::string_view(std::getenv("XDG_CURRENT_DESKTOP")).find("GNOME") !=
               std::string_view::npos;
}

bool isGnomeManager(const std::string &manager) {
    return manager.find("GNOME Shell") != std::string::npos ||
           manager.find("Mutter") != std::string::npos;
}

/// The X server for X11 programs beside a Wayland compositor without a layer shell.
struct Xwayland {
    /// GNOME keeps a wallpaper's X11 window beneath those of Wayland programs. Elsewhere it would
    /// stand framed among the others.
    bool takesWallpapers = false;

    /// Why it does not, where it should.
    std::string problem = {};
};

Xwayland findXwayland() {
    if (!isSet("DISPLAY")) {
        return {false, isGnome() ? "there is no X server, because DISPLAY is not set" : ""};
    }
    try {
        return {isGnomeManager(nameOfX11Manager())};
    } catch (const HostError &error) {
        return {false,
                isGnome() ? "its Xwayland cannot be used (" + std::string(error.what()) + ")" : ""};
    }
}

constexpr const char *kWayToXwayland =
    "start it from within the session, or give it the DISPLAY and XAUTHORITY of GNOME's Xwayland";

std::unique_ptr<Desktop> openX11(DescriptorWaiter &waiter, const DesktopOptions &options) {
    return std::make_unique<X11Desktop>(waiter,
                                        X11Desktop::Options{options.layer, options.density});
}

std::unique_ptr<Desktop> openWayland(DescriptorWaiter &waiter, const DesktopOptions &options) {
    try {
        return std::make_unique<WaylandDesktop>(waiter, options.layer);
    } catch (const HostError &) {
        const Xwayland xwayland = options.system == "auto" ? findXwayland() : Xwayland();
        if (xwayland.takesWallpapers) {
            return openX11(waiter, options);
        }
        if (!xwayland.problem.empty()) {
            throw HostError("desktop", "GNOME has no layer shell, and " + xwayland.problem,
                            kWayToXwayland);
        }
        throw;
    }
}

Finding extensionFinding(GnomeExtension::State state, const std::string &deeds) {
    using State = GnomeExtension::State;
    const std::string how = state == State::On        ? ""
                            : state == State::Missing ? "is not installed; it "
                                                      : "is off; it ";
    return {"GNOME extension", state == State::On ? Finding::Level::Good : Finding::Level::Lacking,
            how + deeds, GnomeExtension::remedy(state)};
}

constexpr const char *kDeedsOnX11 = "shows the wallpaper in the overview";
constexpr const char *kDeedsOnWayland =
    "shows the wallpaper in the overview, lets it rest beneath windows of Wayland programs, and "
    "lets clicks scatter petals";

DesktopSurvey surveyXwayland(LayerChoice layer) {
    DesktopSurvey survey = surveyX11(layer);
    survey.findings.insert(survey.findings.begin(),
                           {"Wayland", Finding::Level::Good,
                            "GNOME has no layer shell, so the wallpaper is shown through Xwayland",
                            ""});
    // Clicks beside the windows of X11 programs do not reach Xwayland.
    std::erase_if(survey.findings,
                  [](const Finding &finding) { return finding.subject == "taps"; });
    survey.findings.push_back(extensionFinding(GnomeExtension::state(), kDeedsOnWayland));
    return survey;
}

DesktopSurvey surveyWaylandOrXwayland(LayerChoice layer) {
    DesktopSurvey survey = surveyWayland(layer);
    const bool isFine =
        std::none_of(survey.findings.begin(), survey.findings.end(),
                     [](const Finding &finding) { return finding.level == Finding::Level::Bad; });
    const Xwayland xwayland = isFine ? Xwayland() : findXwayland();
    if (xwayland.takesWallpapers) {
        return surveyXwayland(layer);
    }
    if (!xwayland.problem.empty()) {
        survey.findings.push_back(
            {"Xwayland", Finding::Level::Bad, xwayland.problem, kWayToXwayland});
    }
    return survey;
}

DesktopSurvey surveyX11Session(LayerChoice layer) {
    DesktopSurvey survey = surveyX11(layer);
    if (nameOfX11Manager() == "GNOME Shell") {
        survey.findings.push_back(extensionFinding(GnomeExtension::state(), kDeedsOnX11));
    }
    return survey;
}

std::unique_ptr<Desktop> openHeadless(const DesktopOptions &options) {
    auto desktop = std::make_unique<HeadlessDesktop>();
    desktop->addOutput("HEADLESS-1",
                       {kHeadlessWidth, kHeadlessHeight, options.density.value_or(1)});
    return desktop;
}

} // namespace

const std::map<std::string, LayerChoice> &layerChoices() {
    static const std::map<std::string, LayerChoice> kChoices{
        {"auto", LayerChoice::Automatic},
        {"behind", LayerChoice::Behind},
        {"over", LayerChoice::Over},
        {"background", LayerChoice::Background},
        {"bottom", LayerChoice::Bottom}};
    return kChoices;
}

std::unique_ptr<Window> openWindow(CGSize size, std::optional<CGFloat> density,
                                   const std::string &title, const std::string &wayOut) {
    return std::make_unique<SDLWindow>(size, density, title, wayOut);
}

std::unique_ptr<Desktop> openDesktop(DescriptorWaiter &waiter, const DesktopOptions &options) {
    const std::string system = options.system == "auto" ? systemOfSession() : options.system;
    if (system == "headless") {
        return openHeadless(options);
    }
    if (system == "wayland") {
        return openWayland(waiter, options);
    }
    return openX11(waiter, options);
}

DesktopSurvey surveyDesktop(LayerChoice layer) {
    DesktopSurvey survey;
    try {
        survey.system = systemOfSession();
        survey =
            survey.system == "wayland" ? surveyWaylandOrXwayland(layer) : surveyX11Session(layer);
    } catch (const HostError &error) {
        survey.findings.push_back({"desktop", Finding::Level::Bad, error.what(), ""});
    }
    return survey;
}

} // namespace Lumivera
