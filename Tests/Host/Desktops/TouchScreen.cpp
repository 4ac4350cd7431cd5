#include "Tests/Host/Desktops/TouchScreen.h"

#include <chrono>
#include <cstdint>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <xcb/xinput.h>
#include <xorg/xf86-input-inputtest-protocol.h>

namespace {

/// The driver's coordinates go from 0 to this.
constexpr int kMaxCoordinate = 0xffff;

/// No finger touches for a shorter time, and window managers that decide about a touch need it.
constexpr auto kTouchTime = std::chrono::milliseconds(80);

template <class Message> bool sendAll(int socket, const Message &message) {
    return send(socket, &message, sizeof message, MSG_NOSIGNAL) == sizeof message;
}

/// The driver's coordinate for the middle of a pixel.
double coordinate(int pixel, int size) { return (pixel + 0.5) * kMaxCoordinate / size; }

} // namespace

TouchScreen::TouchScreen(const std::string &socket, const ScreenRect &bounds)
    : _socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), _bounds(bounds),
      _works(isConnected(socket)) {}

TouchScreen::~TouchScreen() { close(_socket); }

bool TouchScreen::isConnected(const std::string &socket) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket.copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval limit{20, 0};
    setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    xf86ITEventClientVersion version{};
    version.header = {sizeof version, XF86IT_EVENT_CLIENT_VERSION};
    version.major = XF86IT_PROTOCOL_VERSION_MAJOR;
    version.minor = XF86IT_PROTOCOL_VERSION_MINOR;
    xf86ITResponseServerVersion answer{};
    return connect(_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
           sendAll(_socket, version) &&
           recv(_socket, &answer, sizeof answer, MSG_WAITALL) == sizeof answer &&
           answer.major == XF86IT_PROTOCOL_VERSION_MAJOR;
}

bool TouchScreen::touch(const ScreenPoint &point) {
    if (!_works || !send(XCB_INPUT_TOUCH_BEGIN, point)) {
        return false;
    }
    std::this_thread::sleep_for(kTouchTime);
    return send(XCB_INPUT_TOUCH_END, point);
}

bool TouchScreen::send(unsigned type, const ScreenPoint &point) {
    xf86ITEventTouch event{};
    event.header = {sizeof event, XF86IT_EVENT_TOUCH};
    event.touchid = 1;
    event.touch_type = type;
    event.valuators.mask[0] = 0b11;
    event.valuators.valuators[0] = coordinate(point.x, _bounds.width);
    event.valuators.valuators[1] = coordinate(point.y, _bounds.height);
    return sendAll(_socket, event);
}
