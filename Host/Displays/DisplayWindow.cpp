#include "Host/Displays/DisplayWindow.h"

#include "Host/Displays/SDL/SDLDisplay.h"

namespace Lumivera {

std::unique_ptr<Display> openWindow(CGSize size, std::optional<CGFloat> density,
                                    const std::string &title, const std::string &wayOut) {
    return std::make_unique<SDLDisplay>(size, density, title, wayOut);
}

} // namespace Lumivera
