#include "Host/Displays/X11/X11ScreenSaver.h"

#include <xcb/screensaver.h>

namespace Lumivera {

namespace {

/// The other kinds of saver draw something, maybe beside the wallpaper: a program that only wants
/// to hear when nobody is there has one of no size.
bool blanks(std::uint8_t state, std::uint8_t kind) {
    return (state == XCB_SCREENSAVER_STATE_ON || state == XCB_SCREENSAVER_STATE_CYCLE) &&
           kind == XCB_SCREENSAVER_KIND_BLANKED;
}

} // namespace

X11ScreenSaver::X11ScreenSaver(X11Connection &connection) : _connection(connection) {
    if (!_connection.hasScreenSaver()) {
        return;
    }
    xcb_connection_t *server = _connection.get();
    xcb_screensaver_select_input(server, _connection.root(), XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
    const X11Reply<xcb_screensaver_query_info_reply_t> reply(xcb_screensaver_query_info_reply(
        server, xcb_screensaver_query_info(server, _connection.root()), nullptr));
    _isBlank = reply && blanks(reply->state, reply->kind);
}

void X11ScreenSaver::eventArrived(const X11Event &event) {
    if (_connection.isScreenSaverChange(event)) {
        const auto &notice = event.as<xcb_screensaver_notify_event_t>();
        _isBlank = blanks(notice.state, notice.kind);
    }
}

} // namespace Lumivera
