#pragma once

#include "Host/Displays/Display.h"

#include <memory>
#include <optional>

namespace Lumivera {

/// Opens a resizable window in the user's session: on X11 one of our own, else, or where the user
/// asks for a driver by SDL_VIDEODRIVER, SDL's. `size` in points; without a density the window
/// system's is taken. A HostError when there is no display to open a window on; `wayOut` tells the
/// user what to do then.
std::unique_ptr<Display> openWindow(CGSize size, std::optional<CGFloat> density,
                                    const std::string &title, const std::string &wayOut);

} // namespace Lumivera
