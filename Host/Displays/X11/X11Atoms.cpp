#include "Host/Displays/X11/X11Atoms.h"

#include "Host/Displays/X11/X11Reply.h"

#include <string_view>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// In the order of the enumeration.
constexpr std::array<std::string_view, static_cast<std::size_t>(X11Atom::Count)> kNames = {
    "UTF8_STRING",
    "_LUMIVERA_TURN",
    "_NET_ACTIVE_WINDOW",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_CURRENT_DESKTOP",
    "_NET_FRAME_EXTENTS",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_WM_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_OPAQUE_REGION",
    "_NET_WM_PID",
    "_NET_WM_STATE",
    "_NET_WM_STATE_BELOW",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_SKIP_PAGER",
    "_NET_WM_STATE_SKIP_TASKBAR",
    "_NET_WM_STATE_STICKY",
    "_NET_WM_WINDOW_OPACITY",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_NORMAL",
    "WM_DELETE_WINDOW",
    "WM_PROTOCOLS",
    "WM_STATE",
};

static_assert(!kNames.back().empty());

} // namespace

X11Atoms::X11Atoms(xcb_connection_t *connection) {
    std::array<xcb_intern_atom_cookie_t, kNames.size()> cookies;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        cookies[i] = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(kNames[i].size()),
                                     kNames[i].data());
    }
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const X11Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection, cookies[i], nullptr));
        _numbers[i] = reply ? reply->atom : static_cast<std::uint32_t>(XCB_ATOM_NONE);
    }
}

} // namespace Lumivera
