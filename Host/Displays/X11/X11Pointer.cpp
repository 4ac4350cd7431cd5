#include "Host/Displays/X11/X11Pointer.h"

#include <algorithm>
#include <numeric>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace Lumivera {

namespace {

/// Milliseconds. Fingers that come later do not join the first one. Its end may have been lost: the
/// server leaves it out where a window manager decides about the touch.
constexpr std::uint32_t kUntilAlone = 150;

double number(const xcb_input_fp3232_t &value) {
    return value.integral + value.frac / 4294967296.0;
}

/// The pixel of a side of that length which a value on an axis of the device stands for.
int placeOnAxis(const xcb_input_xi_query_device_reply_t &devices, std::uint16_t axis,
                const xcb_input_fp3232_t &value, int length) {
    const auto device = xcb_input_xi_query_device_infos_iterator(&devices);
    if (device.rem == 0) {
        return 0;
    }
    for (auto part = xcb_input_xi_device_info_classes_iterator(device.data); part.rem > 0;
         xcb_input_device_class_next(&part)) {
        const auto &valuator = *reinterpret_cast<const xcb_input_valuator_class_t *>(part.data);
        if (part.data->type == XCB_INPUT_DEVICE_CLASS_TYPE_VALUATOR && valuator.number == axis) {
            const double least = number(valuator.min);
            const double span = number(valuator.max) - least + 1;
            const double place = (number(value) - least) * length / span;
            return span > 0 ? static_cast<int>(std::clamp(place, 0.0, length - 1.0)) : 0;
        }
    }
    return 0;
}

} // namespace

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
    for (const auto &[number, kind] : {std::pair{XCB_INPUT_RAW_TOUCH_BEGIN, Kind::Press},
                                       std::pair{XCB_INPUT_RAW_TOUCH_UPDATE, Kind::Move},
                                       std::pair{XCB_INPUT_RAW_TOUCH_END, Kind::Release}}) {
        if (_connection.isInput(event, static_cast<std::uint16_t>(number))) {
            return touchAction(kind, event);
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
        XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_BEGIN | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_END;
    if (withMoves) {
        selection.events |=
            XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_UPDATE;
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

/// The first finger on a touch screen acts, and fingers that join it are left out. Nobody moves the
/// pointer for a finger before a window has taken the touch, so the place comes from the touch
/// screen itself.
std::optional<X11Pointer::Action> X11Pointer::touchAction(Action::Kind kind,
                                                          const X11Event &event) {
    const auto &touch = event.as<xcb_input_raw_touch_begin_event_t>();
    const bool isFirst =
        !_finger || _finger->device != touch.sourceid || touch.time - _finger->time > kUntilAlone;
    if (kind == Action::Kind::Press && isFirst) {
        _finger = {touch.sourceid, touch.detail, touch.time, 0, 0};
    }
    if (!_finger || _finger->device != touch.sourceid || _finger->touch != touch.detail) {
        return {};
    }
    readPlace(event);
    const Finger finger = *_finger;
    if (kind == Action::Kind::Release) {
        _finger.reset();
    }
    xcb_connection_t *server = _connection.get();
    const std::uint32_t root = _connection.root();
    const X11Reply<xcb_translate_coordinates_reply_t> reply(xcb_translate_coordinates_reply(
        server,
        xcb_translate_coordinates(server, root, root, static_cast<std::int16_t>(finger.x),
                                  static_cast<std::int16_t>(finger.y)),
        nullptr));
    return reply ? std::optional(Action{kind, Main, finger.x, finger.y, reply->child})
                 : std::nullopt;
}

/// An event has values for the axes that have changed, in the order of their numbers. The first two
/// axes of a touch screen go over the whole root.
void X11Pointer::readPlace(const X11Event &event) {
    const auto &touch = event.as<xcb_input_raw_touch_begin_event_t>();
    const std::uint32_t axes =
        touch.valuators_len > 0 ? *xcb_input_raw_touch_begin_valuator_mask(&touch) : 0;
    if ((axes & 3) == 0) {
        return;
    }
    const xcb_input_fp3232_t *values = xcb_input_raw_touch_begin_axisvalues(&touch);
    xcb_connection_t *server = _connection.get();
    const auto device = xcb_input_xi_query_device(server, touch.sourceid);
    const auto geometry = xcb_get_geometry(server, _connection.root());
    const X11Reply<xcb_input_xi_query_device_reply_t> classes(
        xcb_input_xi_query_device_reply(server, device, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> root(
        xcb_get_geometry_reply(server, geometry, nullptr));
    if (!classes || !root) {
        return;
    }
    if ((axes & 1) != 0) {
        _finger->x = placeOnAxis(*classes, 0, *values++, root->width);
    }
    if ((axes & 2) != 0) {
        _finger->y = placeOnAxis(*classes, 1, *values, root->height);
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
