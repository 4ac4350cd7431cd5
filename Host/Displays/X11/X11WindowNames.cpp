#include "Host/Displays/X11/X11WindowNames.h"

#include "Host/Displays/X11/X11Connection.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unistd.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {} // namespace

/// The process is told together with the machine that it runs on, without which it means nothing.
void describeX11Window(X11Connection &connection, std::uint32_t window, const std::string &title) {
    setX11WindowTitle(connection, window, title);
    connection.setClass(window);
    std::array<char, 256> machine{};
    if (gethostname(machine.data(), machine.size() - 1) == 0) {
        connection.setProperty(window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING,
                               std::string_view(machine.data()));
        connection.setProperty(window, connection.atom(X11Atom::NetWMPid), XCB_ATOM_CARDINAL,
                               {static_cast<std::uint32_t>(getpid())});
    }
}

/// The older of the two names is in Latin-1 by its own rules, which older programs go by.
void setX11WindowTitle(X11Connection &connection, std::uint32_t window, const std::string &title) {
    const bool isAscii =
        std::all_of(title.begin(), title.end(), [](unsigned char c) { return c < 0x80; });
    connection.setProperty(window, XCB_ATOM_WM_NAME,
                           isAscii ? static_cast<std::uint32_t>(XCB_ATOM_STRING)
                                   : connection.atom(X11Atom::Utf8String),
                           title);
    connection.setProperty(window, connection.atom(X11Atom::NetWMName),
                           connection.atom(X11Atom::Utf8String), title);
}

} // namespace Lumivera
