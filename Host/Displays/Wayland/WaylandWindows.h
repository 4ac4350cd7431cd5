#pragma once

#include "Host/Displays/Desktop.h"
#include "Host/Displays/Wayland/WaylandOutput.h"

#include <optional>

namespace Lumivera {

/// How windows hide an output.
struct WaylandCover {
    /// What is known of the windows; Visible when they do not hide the output.
    SurfaceVisibility known = SurfaceVisibility::Visible;

    /// Reason to report if frame callbacks stop although no window is known to hide the output.
    SurfaceVisibility suspected = SurfaceVisibility::Covered;
};

/// A source that tells how windows hide outputs. Main thread.
class WaylandWindows {
  public:
    /// Nothing where the source does not know. `free` is the size of what panels leave of the
    /// output, where it is known.
    virtual std::optional<WaylandCover> coverOf(const WaylandOutput &output,
                                                std::optional<WaylandSize> free) const = 0;

  protected:
    ~WaylandWindows() = default;
};

} // namespace Lumivera
