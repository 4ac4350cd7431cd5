#include "Lumivera/Wallpaper.h"

#include <cstdlib>

#undef LUMIVERA_INTERFACE
#define LUMIVERA_INTERFACE 999

namespace {

/// Ends a process that loads the library, because a host must refuse it before.
const bool isLoaded = [] {
    std::_Exit(7);
    return true;
}();

} // namespace

LUMIVERA_WALLPAPER(DeskTopView, "Future", "1");
