#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Support/DescriptorWaiter.h"

#include <memory>
#include <optional>
#include <string>

namespace Lumivera {

/// How a desktop is to be opened.
struct DesktopOptions {
    /// "auto" takes what the user's session has; else "wayland", "x11" or "headless".
    std::string system = "auto";

    /// Clicks go to what lies behind the wallpaper, such as a file manager's icons.
    bool isClickThrough = false;

    /// Pixels a point, instead of what the window system says.
    std::optional<CGFloat> density;
};

/// "wayland" or "x11". A HostError when the environment names neither.
std::string systemOfSession();

/// Opens the desktop of a window system. A HostError when there is none, or one that lets nobody
/// behind its windows. The waiter is not owned.
std::unique_ptr<Desktop> openDesktop(DescriptorWaiter &waiter, const DesktopOptions &options);

} // namespace Lumivera
