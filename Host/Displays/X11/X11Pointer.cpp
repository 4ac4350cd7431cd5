#include "Host/Displays/X11/X11Pointer.h"

#include <algorithm>
#include <numeric>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace Lumivera {

X11Pointer::X11Pointer(X11Connection &connection) : _connection(connection) {
    selectEvents(false);
    readButtons();
}

std::optional<X11Pointer::Action> X11Pointer::actionOf(const X11Event &event) {
    using Kind = Action::Kind;
    if (event.type() == XCB_MAPPING_NOTIFY &&
        event.as<xcb_mapping_notify_event_t>().request == XCB_MAPPING_POINTER) {
        readButtons();
        return {};
    }
    for (const auto &[number, kind] : {std::pair{XCB_INPUT_RAW_BUTTON_PRESS, Kind::Press},
                                       std::pair{XCB_INPUT_RAW_BUTTON_RELEASE, Kind::Release}}) {
        if (_connection.isInput(event, static_cast<std::uint16_t>(number))) {
            return actionBy(kind, event.as<xcb_input_raw_button_press_event_t>().detail);
        }
    }
    // The pointer follows one finger, and the other fingers are left out.
    for (const auto &[number, kind] : {std::pair{XCB_INPUT_RAW_TOUCH_BEGIN, Kind::Press},
                                       std::pair{XCB_INPUT_RAW_TOUCH_UPDATE, Kind::Move},
                                       std::pair{XCB_INPUT_RAW_TOUCH_END, Kind::Release}}) {
        if (_connection.isInput(event, static_cast<std::uint16_t>(number))) {
            const bool isPointer = (event.as<xcb_input_raw_touch_begin_event_t>().flags &
                                    XCB_INPUT_TOUCH_EVENT_FLAGS_TOUCH_EMULATING_POINTER) != 0;
            const bool isWanted = isPointer && (kind != Kind::Move || _wantsMoves);
            return isWanted ? actionBy(kind, Main) : std::nullopt;
        }
    }
    if (_connection.isInput(event, XCB_INPUT_RAW_MOTION)) {
        return actionBy(Kind::Move, Main);
    }
    return {};
}

void X11Pointer::setWantsMoves(bool wantsMoves) {
    if (wantsMoves != _wantsMoves) {
        _wantsMoves = wantsMoves;
        selectEvents(wantsMoves);
    }
}

void X11Pointer::selectEvents(bool withMoves) {
    if (!_connection.hasRawInput()) {
        return;
    }
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t events;
    } selection{};
    selection.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    selection.head.mask_len = 1;
    selection.events =
        XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE |
        XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_BEGIN | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_UPDATE |
        XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_END;
    if (withMoves) {
        selection.events |= XCB_INPUT_XI_EVENT_MASK_RAW_MOTION;
    }
    xcb_input_xi_select_events(_connection.get(), _connection.root(), 1, &selection.head);
}

/// Raw events have the buttons as the device numbers them, which left-handed people reorder.
void X11Pointer::readButtons() {
    std::iota(_buttons.begin(), _buttons.end(), std::uint8_t{0});
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_get_pointer_mapping_reply_t> reply(
        xcb_get_pointer_mapping_reply(server, xcb_get_pointer_mapping(server), nullptr));
    if (reply) {
        const int count = xcb_get_pointer_mapping_map_length(reply.get());
        std::copy_n(xcb_get_pointer_mapping_map(reply.get()),
                    std::min(count, static_cast<int>(_buttons.size()) - 1), _buttons.begin() + 1);
    }
}

std::optional<X11Pointer::Action> X11Pointer::actionBy(Action::Kind kind,
                                                       std::uint32_t physicalButton) {
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(server, xcb_query_pointer(server, _connection.root()), nullptr));
    if (!reply || !reply->same_screen || physicalButton >= _buttons.size()) {
        return {};
    }
    return Action{kind, _buttons[physicalButton], reply->root_x, reply->root_y, reply->child};
}

} // namespace Lumivera
