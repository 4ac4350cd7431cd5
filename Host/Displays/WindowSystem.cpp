#include "Host/Displays/WindowSystem.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Host/Displays/SDL/SDLWindow.h"
#include "Host/Displays/Wayland/WaylandDesktop.h"
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

/// GNOME has no layer shell, but keeps windows of X11 programs beneath those of Wayland programs.
/// Elsewhere such a window would stand framed among the others.
bool isShownThroughXwayland() {
    const std::string manager = isSet("DISPLAY") ? nameOfX11Manager() : "";
    return manager.find("GNOME Shell") != std::string::npos ||
           manager.find("Mutter") != std::string::npos;
}

std::unique_ptr<Desktop> openX11(DescriptorWaiter &waiter, const DesktopOptions &options) {
    return std::make_unique<X11Desktop>(waiter,
                                        X11Desktop::Options{options.layer, options.density});
}

std::unique_ptr<Desktop> openWayland(DescriptorWaiter &waiter, const DesktopOptions &options) {
    try {
        return std::make_unique<WaylandDesktop>(waiter, options.layer);
    } catch (const HostError &) {
        if (options.system == "auto" && isShownThroughXwayland()) {
            return openX11(waiter, options);
        }
        throw;
    }
}

/// What Xwayland offers where the compositor itself offers nothing.
DesktopSurvey surveyWaylandOrXwayland(LayerChoice layer) {
    DesktopSurvey survey = surveyWayland(layer);
    const bool isFine =
        std::none_of(survey.findings.begin(), survey.findings.end(),
                     [](const Finding &finding) { return finding.level == Finding::Level::Bad; });
    if (isFine || !isShownThroughXwayland()) {
        return survey;
    }
    survey = surveyX11(layer);
    survey.findings.insert(survey.findings.begin(),
                           {"Wayland", Finding::Level::Lacking,
                            "GNOME has no layer shell, so the wallpaper is shown through Xwayland; "
                            "full-screen windows "
                            "of Wayland programs do not make it rest",
                            ""});
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
        survey = survey.system == "wayland" ? surveyWaylandOrXwayland(layer) : surveyX11(layer);
    } catch (const HostError &error) {
        survey.findings.push_back({"desktop", Finding::Level::Bad, error.what(), ""});
    }
    return survey;
}

} // namespace Lumivera
