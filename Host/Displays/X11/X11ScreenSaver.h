#pragma once

#include "Host/Displays/X11/X11Connection.h"

namespace Lumivera {

/// Whether the server shows nothing at all: its screen saver has blanked the screen, as it also
/// does before the server switches the monitors off. Main thread.
class X11ScreenSaver {
  public:
    /// Looks, and awaits changes. The connection is not owned.
    explicit X11ScreenSaver(X11Connection &connection);

    bool isBlank() const { return _isBlank; }

    void eventArrived(const X11Event &event);

  private:
    X11Connection &_connection;
    bool _isBlank = false;
};

} // namespace Lumivera
