#pragma once

#include "Host/Displays/Display.h"
#include "Host/Displays/X11/X11Connection.h"

#include <optional>

namespace Lumivera {

/// What the keys of the user's keyboard mean to us. Main thread.
class X11Keyboard {
  public:
    /// Reads the keyboard's layout, which takes a turn of the server. The connection is not owned.
    explicit X11Keyboard(X11Connection &connection);

    /// Takes every event; gives what a pressed key asks for. Keys that are held ask as
    /// asksWhileHeld() says.
    std::optional<DisplayKey> eventArrived(const X11Event &event);

  private:
    void readLayout();
    std::optional<DisplayKey> meaningOf(std::uint8_t code, std::uint16_t state) const;
    std::uint32_t symbol(std::uint8_t code, std::size_t column) const;
    bool isRepeated(std::uint8_t code, std::uint32_t time) const;

    X11Connection &_connection;

    /// A row of so many columns for every key.
    std::vector<std::uint32_t> _symbols;
    std::size_t _columns = 0;
    std::uint8_t _firstCode = 0;

    std::uint8_t _releasedCode = 0;
    std::uint32_t _releaseTime = 0;
};

} // namespace Lumivera
