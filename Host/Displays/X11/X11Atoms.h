#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct xcb_connection_t;

namespace Lumivera {

/// The names that the programs of an X11 desktop have agreed on.
enum class X11Atom {
    Utf8String,
    LumiveraTurn,
    NetActiveWindow,
    NetClientListStacking,
    NetCurrentDesktop,
    NetFrameExtents,
    NetSupportingWMCheck,
    NetWMDesktop,
    NetWMName,
    NetWMOpaqueRegion,
    NetWMPid,
    NetWMState,
    NetWMStateBelow,
    NetWMStateFullScreen,
    NetWMStateHidden,
    NetWMStateSkipPager,
    NetWMStateSkipTaskbar,
    NetWMStateSticky,
    NetWMWindowOpacity,
    NetWMWindowType,
    NetWMWindowTypeDesktop,
    NetWMWindowTypeNormal,
    WMDeleteWindow,
    WMProtocols,
    WMState,
    Count,
};

/// The server's numbers for those names.
class X11Atoms {
  public:
    /// Asks for all of them in one turn.
    explicit X11Atoms(xcb_connection_t *connection);

    std::uint32_t operator[](X11Atom atom) const {
        return _numbers[static_cast<std::size_t>(atom)];
    }

  private:
    std::array<std::uint32_t, static_cast<std::size_t>(X11Atom::Count)> _numbers{};
};

} // namespace Lumivera
