#pragma once

#include "Host/Displays/X11/X11Connection.h"
#include "Platform/CoreGraphics/CGGeometry.h"

namespace Lumivera {

/// A part of the screen that a monitor shows.
struct X11Output {
    std::string name;

    /// In pixels of the screen.
    DeviceRect area;

    bool operator==(const X11Output &) const = default;
};

/// The parts of the screen that monitors show, without mirrors. Takes one or two round trips. One
/// output for the whole screen, called "default", where the server does not report its monitors.
std::vector<X11Output> readX11Outputs(X11Connection &connection);

/// Leaves out outputs that show nothing but a part of what another one shows. Of two that show the
/// same, the first stays.
std::vector<X11Output> withoutMirrors(const std::vector<X11Output> &outputs);

/// Pixels a point by the desktop's settings: their Xft.dpi divided by 96. Empty when they do not
/// set it. Takes a round trip.
std::optional<CGFloat> readX11Density(X11Connection &connection);

/// The same from the settings' text, whose lines are "name: value". Empty for a value that makes no
/// sense.
std::optional<CGFloat> densityFromX11Settings(std::string_view settings);

/// Whether the server's screen saver has blanked the screen, as it also does before the server
/// switches the monitors off. Main thread.
class X11ScreenSaver {
  public:
    /// Reads the present state and selects events. The connection is not owned.
    explicit X11ScreenSaver(X11Connection &connection);

    bool isBlank() const { return _isBlank; }

    void eventArrived(const X11Event &event);

  private:
    X11Connection &_connection;
    bool _isBlank = false;
};

} // namespace Lumivera
