#pragma once

#include "Host/Displays/X11/X11Connection.h"

#include <array>
#include <cstdint>
#include <optional>

namespace Lumivera {

/// Sees what pointers and fingers do anywhere on the screen, and takes nothing of it from the
/// windows that it is meant for. Main thread.
class X11Pointer {
  public:
    /// The buttons as users have ordered them.
    enum Button : std::uint8_t { Main = 1, WheelUp = 4, WheelDown, WheelLeft, WheelRight };

    struct Action {
        enum class Kind { Press, Move, Release };

        Kind kind = Kind::Move;
        std::uint8_t button = Main;

        /// In pixels of the root.
        int x = 0;
        int y = 0;

        /// The child of the root that the pointer is in; 0 for none.
        std::uint32_t child = 0;
    };

    /// Selects events. Does nothing where the server reports no raw input. The connection is not
    /// owned.
    explicit X11Pointer(X11Connection &connection);

    /// What the event says; nothing for other events. Takes a round trip.
    std::optional<Action> actionOf(const X11Event &event);

    /// Moves are reported only while somebody wants them.
    void setWantsMoves(bool wantsMoves);

  private:
    /// A finger on a touch screen.
    struct Finger {
        std::uint16_t device = 0;
        std::uint32_t touch = 0;

        /// When it came, in the server's milliseconds.
        std::uint32_t time = 0;

        /// In pixels of the root.
        int x = 0;
        int y = 0;
    };

    void selectEvents(bool withMoves);
    std::optional<Action> touchAction(Action::Kind kind, const X11Event &event);
    void readPlace(const X11Event &event);
    void readButtons();
    std::optional<Action> actionBy(Action::Kind kind, std::uint32_t physicalButton);

    X11Connection &_connection;
    std::array<std::uint8_t, 256> _buttons{};
    bool _wantsMoves = false;
    std::optional<Finger> _finger;
};

} // namespace Lumivera
