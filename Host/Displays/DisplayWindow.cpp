#include "Host/Displays/DisplayWindow.h"

#include "Host/Displays/SDL/SDLDisplay.h"
#include "Host/Displays/X11/X11Window.h"
#include "Host/Support/HostError.h"

#include <cstdlib>

namespace Lumivera {

namespace {

bool isSet(const char *variable) {
    const char *value = std::getenv(variable);
    return value && *value;
}

} // namespace

/// SDL takes also screens of fewer colours, and knows the words for those that are not there.
std::unique_ptr<Display> openWindow(CGSize size, std::optional<CGFloat> density,
                                    const std::string &title, const std::string &wayOut) {
    if (isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("SDL_VIDEODRIVER")) {
        try {
            return std::make_unique<X11Window>(size, density, title, wayOut);
        } catch (const HostError &) {
        }
    }
    return std::make_unique<SDLDisplay>(size, density, title, wayOut);
}

} // namespace Lumivera
