// A tree of windows from Sway is read whatever it holds, and says of an output what it can say.

#include "Host/Displays/Wayland/SwayTree.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace Lumivera;
    const auto tree = SwayTree::parse({reinterpret_cast<const char *>(data), size});
    if (!tree) {
        return 0;
    }
    for (const char *output : {"", "A", "X11-1"}) {
        const auto alone = tree->visibilityOf(output, std::nullopt);
        const auto beside = tree->visibilityOf(output, WaylandSize{1280, 777});
        // Margins matter only to what tiles cover.
        if (alone.has_value() != beside.has_value() ||
            (alone == SurfaceVisibility::FullScreen) != (beside == SurfaceVisibility::FullScreen)) {
            std::abort();
        }
    }
    return 0;
}
