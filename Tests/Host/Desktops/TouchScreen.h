#pragma once

#include "Tests/Host/Desktops/ScreenPicture.h"

#include <string>

/// A finger on the touch screen of an X server whose driver takes its events from a socket.
class TouchScreen {
  public:
    /// `socket` is where the driver listens, and `bounds` the pixels that the touch screen covers.
    TouchScreen(const std::string &socket, const ScreenRect &bounds);
    ~TouchScreen();
    TouchScreen(const TouchScreen &) = delete;
    TouchScreen &operator=(const TouchScreen &) = delete;

    /// Touches a place and lets go. False when the driver does not take that.
    bool touch(const ScreenPoint &point);

  private:
    bool isConnected(const std::string &socket) const;
    bool send(unsigned type, const ScreenPoint &point);

    int _socket;
    ScreenRect _bounds;
    bool _works;
};
