#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Window.h"
#include "Host/Support/DescriptorWaiter.h"

#include <memory>
#include <optional>
#include <string>

namespace Lumivera {

/// Opens a resizable window in the user's session. `size` in points; without a density the window
/// system's is taken. A HostError when there is no display to open a window on; `wayOut` tells the
/// user what to do then.
std::unique_ptr<Window> openWindow(CGSize size, std::optional<CGFloat> density,
                                   const std::string &title, const std::string &wayOut);

/// How a desktop is to be opened.
struct DesktopOptions {
    /// "auto" takes what the user's session has; else "wayland", "x11" or "headless".
    std::string system = "auto";

    /// Where wallpapers are.
    LayerChoice layer = LayerChoice::Automatic;

    /// Pixels a point on X11 and headless, instead of what the window system says.
    std::optional<CGFloat> density;
};

/// Opens the desktop of a window system. A HostError when there is none, or one that lets no
/// surface behind its windows. The waiter is not owned.
std::unique_ptr<Desktop> openDesktop(DescriptorWaiter &waiter, const DesktopOptions &options);

/// What the window system of the user's session offers to wallpapers with that choice of a layer;
/// without a window system, a survey with one bad finding.
DesktopSurvey surveyDesktop(LayerChoice layer);

} // namespace Lumivera
