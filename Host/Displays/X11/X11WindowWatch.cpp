#include "Host/Displays/X11/X11WindowWatch.h"

#include "Host/Displays/X11/X11Outputs.h"

#include <poll.h>
#include <utility>
#include <xcb/xcb.h>

namespace Lumivera {

X11WindowWatch::X11WindowWatch(std::function<void()> obscuredChanged)
    : _obscuredChanged(std::move(obscuredChanged)), _connection(*this, *this), _serve([this] {
          if (_source) {
              _source->serve();
          }
      }) {}

std::optional<CGFloat> X11WindowWatch::density() { return readX11Density(_connection).density; }

void X11WindowWatch::watch(std::uint32_t window) {
    _connection.setClass(window);
    const std::uint32_t events = XCB_EVENT_MASK_VISIBILITY_CHANGE;
    xcb_change_window_attributes(_connection.get(), window, XCB_CW_EVENT_MASK, &events);
    roundTrip();
}

/// Waits until the server has handled what was asked and sent what it had to say before.
void X11WindowWatch::roundTrip() {
    const X11Reply<xcb_get_input_focus_reply_t> answer(xcb_get_input_focus_reply(
        _connection.get(), xcb_get_input_focus(_connection.get()), nullptr));
}

/// The other library may read an exposure later than this connection reads that the window was
/// hidden again, so only the events of this connection count.
void X11WindowWatch::noteExposed() {
    if (_isObscured) {
        roundTrip();
        look();
    }
}

void X11WindowWatch::look() {
    if (!_source) {
        return;
    }
    const bool hasArrived = _source->prepareToWait();
    pollfd polled{_source->descriptor(), POLLIN, 0};
    if (hasArrived || poll(&polled, 1, 0) > 0) {
        _serve.callAfter(0);
    }
}

void X11WindowWatch::eventArrived(const X11Event &event) {
    if (event.type() == XCB_VISIBILITY_NOTIFY) {
        const bool isObscured =
            event.as<xcb_visibility_notify_event_t>().state == XCB_VISIBILITY_FULLY_OBSCURED;
        if (std::exchange(_isObscured, isObscured) != isObscured) {
            _obscuredChanged();
        }
    }
}

} // namespace Lumivera
