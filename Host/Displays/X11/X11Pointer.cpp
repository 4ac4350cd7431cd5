#include "Host/Displays/X11/X11Pointer.h"

#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr CGFloat kPointsPerWheelStep = 20;
constexpr CGFloat kPointsPerTurn = 60;
constexpr std::uint8_t kMainButton = 1;
constexpr std::uint8_t kWheelUp = 4;
constexpr std::uint8_t kWheelDown = 5;
constexpr std::uint8_t kWheelLeft = 6;
constexpr std::uint8_t kWheelRight = 7;

template <class Event> CGPoint placeOf(const Event &event, CGFloat density) {
    return {event.event_x / density, event.event_y / density};
}

} // namespace

const std::uint32_t X11Pointer::kAwaitedEvents =
    XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_BUTTON_1_MOTION;

void X11Pointer::eventArrived(const X11Event &event, CGFloat density, PointerListener &listener) {
    if (event.type() == XCB_BUTTON_PRESS) {
        const auto &press = event.as<xcb_button_press_event_t>();
        if (press.event == _window) {
            servePress(press.detail, placeOf(press, density), listener);
        }
    } else if (event.type() == XCB_MOTION_NOTIFY) {
        const auto &motion = event.as<xcb_motion_notify_event_t>();
        if (motion.event == _window) {
            _gestures.moved(placeOf(motion, density), listener);
        }
    } else if (event.type() == XCB_BUTTON_RELEASE) {
        const auto &release = event.as<xcb_button_release_event_t>();
        if (release.event == _window && release.detail == kMainButton) {
            _gestures.released(placeOf(release, density), listener);
        }
    }
}

void X11Pointer::servePress(std::uint8_t button, CGPoint point, PointerListener &listener) {
    if (button == kMainButton) {
        _gestures.pressed(point);
    } else if (button == kWheelLeft || button == kWheelRight) {
        listener.scrolledBy(button == kWheelLeft ? kPointsPerWheelStep : -kPointsPerWheelStep);
        listener.scrollingEnded();
    } else if (button == kWheelUp || button == kWheelDown) {
        listener.scrolledDownBy(button == kWheelUp ? kPointsPerTurn : -kPointsPerTurn);
    }
}

} // namespace Lumivera
