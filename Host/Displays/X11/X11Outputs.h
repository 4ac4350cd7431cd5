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

/// The size of things by the desktop's settings.
struct X11Density {
    /// Pixels a point; empty when no setting says it.
    std::optional<CGFloat> density;

    /// The window of the program that keeps the settings, whose property changes with them; 0 for
    /// none.
    std::uint32_t settingsWindow = 0;
};

/// Asks the program that keeps the settings of the desktop, then the resources of the server. Takes
/// two round trips.
X11Density readX11Density(X11Connection &connection);

/// The resources' Xft.dpi divided by 96, from their text, whose lines are "name: value". Empty for
/// a value that makes no sense.
std::optional<CGFloat> densityFromX11Resources(std::string_view resources);

/// The factor of windows times the resolution without it, divided by 96, from the bytes of the
/// property _XSETTINGS_SETTINGS; empty when they have neither, or are damaged.
std::optional<CGFloat> densityFromXSettings(std::string_view settings);

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
