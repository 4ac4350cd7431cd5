#include "Host/Displays/X11/X11Window.h"

#include "Host/Displays/X11/X11Density.h"
#include "Host/Displays/X11/X11WindowNames.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr CGFloat kLongestSide = 16384;
constexpr std::uint32_t kToggle = 2;
constexpr std::uint32_t kFromProgram = 1;

const std::uint32_t kAwaitedEvents =
    XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_VISIBILITY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
    XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;

int pixels(CGFloat points, CGFloat density) {
    return static_cast<int>(std::clamp<CGFloat>(std::round(points * density), 1, kLongestSide));
}

} // namespace

X11Window::X11Window(CGSize size, std::optional<CGFloat> density, const std::string &title,
                     const std::string &wayOut)
    : _connection(_waiter, *this, wayOut),
      _density(density ? *density : readX11Density(_connection).value_or(1)),
      _width(pixels(size.width, _density)), _height(pixels(size.height, _density)),
      _window(_connection.createWindow({0, 0, _width, _height},
                                       kAwaitedEvents | X11Pointer::kAwaitedEvents)),
      _presenter(_connection, _window), _keyboard(_connection), _pointer(_window) {
    describe(title);
    xcb_map_window(_connection.get(), _window);
}

X11Window::~X11Window() { xcb_destroy_window(_connection.get(), _window); }

CGSize X11Window::size() const { return {_width / _density, _height / _density}; }

/// Until the window system says something else: the first picture is drawn while the window comes.
bool X11Window::isVisible() const { return _isMapped && !_isHidden && !_isObscured; }

void X11Window::present(const Drawing &draw) {
    if (!_loss.empty()) {
        throw HostError("X11", _loss);
    }
    fitMemory();
    if (!_presenter.isOurTurn()) {
        _isPictureMissed = true;
        return;
    }
    SharedPicture &memory = *_presenter.memory();
    const std::vector<DeviceRect> &rects = draw({memory.pixels(0), memory.width(), memory.height(),
                                                 memory.width(), _isPictureKept ? 1U : 0U});
    _isPictureKept = true;
    if (!rects.empty()) {
        _presenter.present(rects);
    }
}

void X11Window::setTitle(const std::string &title) {
    setX11WindowTitle(_connection, _window, title);
}

void X11Window::toggleFullScreen() {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = _window;
    message.type = _connection.atom(X11Atom::NetWMState);
    message.data.data32[0] = kToggle;
    message.data.data32[1] = _connection.atom(X11Atom::NetWMStateFullScreen);
    message.data.data32[3] = kFromProgram;
    xcb_send_event(_connection.get(), 0, _connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&message));
}

void X11Window::eventArrived(const X11Event &event) {
    if (_presenter.takesTurn(event)) {
        serveTurn();
        return;
    }
    noteWindow(event);
    if (!_listener) {
        return;
    }
    _pointer.eventArrived(event, _density, *_listener);
    if (const auto key = _keyboard.eventArrived(event)) {
        _listener->keyPressed(*key);
    }
    if (isCloseMessage(event)) {
        _listener->displayClosed();
    }
}

/// A window that is dragged to another size has many sizes at once.
void X11Window::eventsEnded() {
    if (std::exchange(_hasSizeChanged, false) && _listener) {
        _listener->displayResized();
    }
    if (std::exchange(_wasVisible, isVisible()) != isVisible() && _listener) {
        _listener->displayVisibilityChanged();
    }
}

/// The failure is told to whoever draws the next picture, which is wanted at once.
void X11Window::connectionLost(const std::string &reason) {
    _loss = reason;
    _isMapped = true;
    _isHidden = false;
    _isObscured = false;
    if (_listener) {
        _listener->displayNeedsPicture();
    }
}

void X11Window::describe(const std::string &title) {
    describeX11Window(_connection, _window, title);
    const auto atom = [this](X11Atom name) { return _connection.atom(name); };
    _connection.setProperty(_window, atom(X11Atom::NetWMWindowType), XCB_ATOM_ATOM,
                            {atom(X11Atom::NetWMWindowTypeNormal)});
    _connection.setProperty(_window, atom(X11Atom::WMProtocols), XCB_ATOM_ATOM,
                            {atom(X11Atom::WMDeleteWindow)});
}

/// New memory is ours at once, whatever the server still reads of the old.
void X11Window::fitMemory() {
    const auto width = static_cast<unsigned>(_width);
    const auto height = static_cast<unsigned>(_height);
    const SharedPicture *memory = _presenter.memory();
    if (!memory || memory->width() != width || memory->height() != height) {
        _presenter.setMemory(std::make_shared<SharedPicture>(width, height, 1));
        _isPictureKept = false;
    }
}

void X11Window::noteWindow(const X11Event &event) {
    switch (event.type()) {
    case XCB_CONFIGURE_NOTIFY: {
        const auto &notice = event.as<xcb_configure_notify_event_t>();
        _hasSizeChanged = _hasSizeChanged || notice.width != _width || notice.height != _height;
        _width = notice.width;
        _height = notice.height;
        break;
    }
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
        _isMapped = event.type() == XCB_MAP_NOTIFY;
        break;
    case XCB_VISIBILITY_NOTIFY:
        _isObscured =
            event.as<xcb_visibility_notify_event_t>().state == XCB_VISIBILITY_FULLY_OBSCURED;
        break;
    case XCB_EXPOSE: {
        const auto &part = event.as<xcb_expose_event_t>();
        _presenter.repaint({part.x, part.y, part.x + part.width, part.y + part.height});
        break;
    }
    case XCB_PROPERTY_NOTIFY:
        noteProperty(event.as<xcb_property_notify_event_t>().atom);
        break;
    default:
        break;
    }
}

/// Window managers that show small pictures of their windows keep minimised ones mapped.
void X11Window::noteProperty(std::uint32_t name) {
    if (name == _connection.atom(X11Atom::NetWMState)) {
        const auto states = _connection.propertyWords(_connection.askForProperty(_window, name));
        _isHidden =
            states && std::find(states->begin(), states->end(),
                                _connection.atom(X11Atom::NetWMStateHidden)) != states->end();
    }
}

bool X11Window::isCloseMessage(const X11Event &event) const {
    if (event.type() == XCB_DESTROY_NOTIFY) {
        return true;
    }
    if (event.type() != XCB_CLIENT_MESSAGE) {
        return false;
    }
    const auto &message = event.as<xcb_client_message_event_t>();
    return message.type == _connection.atom(X11Atom::WMProtocols) &&
           message.data.data32[0] == _connection.atom(X11Atom::WMDeleteWindow);
}

void X11Window::serveTurn() {
    if (std::exchange(_isPictureMissed, false) && _listener) {
        _listener->displayNeedsPicture();
    }
}

} // namespace Lumivera
