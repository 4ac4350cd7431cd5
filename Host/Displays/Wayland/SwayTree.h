#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/WaylandOutput.h"
#include "Platform/Compositor/DeviceRect.h"

#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// Which windows Sway shows on its outputs, as its answer to GET_TREE tells. Rectangles are in
/// points.
///
/// Sway does not tell of translucent windows, so tiles count as opaque. It sends no event when a
/// floating window is dragged, so floating windows hide nothing unless they are full-screen.
class SwayTree {
  public:
    /// Nodes that lie deeper are ignored.
    static constexpr int kMaxDepth = 64;

    /// Nothing for a text that is not a tree.
    static std::optional<SwayTree> parse(std::string text);

    /// Nothing when there is no such output. `free` is the size of what panels leave of it; without
    /// it, a margin at one edge counts as a panel. What could be seen only in gaps that are too
    /// narrow for a petal counts as hidden.
    std::optional<SurfaceVisibility> visibilityOf(const std::string &output,
                                                  std::optional<WaylandSize> free) const;

  private:
    class Reader;

    struct Output {
        std::string name;
        DeviceRect area;

        /// The part of the area that the visible workspace gives to tiles.
        DeviceRect workspace;

        /// The tiles that are shown, with their title bars.
        std::vector<DeviceRect> tiles;
        bool isFullScreen = false;
    };

    static bool isWithinMargins(const Output &output, std::optional<WaylandSize> free);

    std::vector<Output> _outputs;
};

} // namespace Lumivera
