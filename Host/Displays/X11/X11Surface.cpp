#include "Host/Displays/X11/X11Surface.h"

#include <array>
#include <unistd.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr std::string_view kTitle = "Lumivera";
constexpr std::uint32_t kAllWorkspaces = 0xffffffff;

/// A window that comes beneath ours more often than this may stay there.
constexpr unsigned kMaxLowerings = 3;
constexpr std::size_t kMaxRemembered = 256;

/// Flags of WM_HINTS and WM_NORMAL_HINTS, and the length of the latter.
constexpr std::uint32_t kInputHint = 1;
constexpr std::uint32_t kUserPlace = 1;
constexpr std::uint32_t kUserSize = 2;
constexpr std::uint32_t kMinSizeHint = 16;
constexpr std::uint32_t kMaxSizeHint = 32;
constexpr std::size_t kSizeHintWords = 18;

constexpr std::uint32_t kShownEvents = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_VISIBILITY_CHANGE;
constexpr std::uint32_t kPointerEvents =
    XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_BUTTON_1_MOTION;

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

X11Surface::X11Surface(X11Connection &connection, const X11Output &output, CGFloat density,
                       bool clickThrough)
    : _connection(connection), _output(output), _density(density),
      _window(
          connection.createWindow(output.area, kShownEvents | (clickThrough ? 0 : kPointerEvents))),
      _presenter(connection, _window) {
    describe();
    fixPlace();
    if (clickThrough) {
        letClicksThrough();
    }
    goBelow();
}

X11Surface::~X11Surface() { xcb_destroy_window(_connection.get(), _window); }

SurfaceGeometry X11Surface::geometry() const {
    return {static_cast<unsigned>(area().width()), static_cast<unsigned>(area().height()),
            _density};
}

SurfaceVisibility X11Surface::visibility() const {
    if (_isBlank) {
        return SurfaceVisibility::Off;
    }
    return _stackVisibility == SurfaceVisibility::Visible && _isObscured
               ? SurfaceVisibility::Covered
               : _stackVisibility;
}

void X11Surface::setBuffers(std::shared_ptr<SharedBuffers> memory) {
    _presenter.setBuffers(std::move(memory));
    _presenter.requestRelease();
}

/// The first picture is drawn before the window manager shows the window, and so is lost. The
/// server sends an expose event then.
void X11Surface::present(unsigned, const std::vector<DeviceRect> &damage) {
    if (!_isMapped) {
        _isMapped = true;
        xcb_map_window(_connection.get(), _window);
    }
    _presenter.present(damage);
}

void X11Surface::setArea(const DeviceRect &area) {
    if (area == _output.area) {
        return;
    }
    const SurfaceGeometry before = geometry();
    _output.area = area;
    fixPlace();
    const std::uint32_t values[] = {
        static_cast<std::uint32_t>(area.left), static_cast<std::uint32_t>(area.top),
        static_cast<std::uint32_t>(area.width()), static_cast<std::uint32_t>(area.height())};
    xcb_configure_window(_connection.get(), _window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    tellGeometryUnless(before);
}

void X11Surface::setDensity(CGFloat density) {
    const SurfaceGeometry before = geometry();
    _density = density;
    tellGeometryUnless(before);
}

void X11Surface::setStackVisibility(SurfaceVisibility visibility) {
    const SurfaceVisibility before = this->visibility();
    _stackVisibility = visibility;
    tellVisibilityUnless(before);
}

void X11Surface::setBlank(bool isBlank) {
    const SurfaceVisibility before = visibility();
    _isBlank = isBlank;
    tellVisibilityUnless(before);
}

void X11Surface::eventArrived(const X11Event &event) {
    if (_presenter.takesRelease(event)) {
        if (_listener) {
            _listener->bufferWanted(0);
        }
        return;
    }
    if (event.type() == XCB_EXPOSE) {
        const auto &expose = event.as<xcb_expose_event_t>();
        if (expose.window == _window) {
            _presenter.repaint(
                {expose.x, expose.y, expose.x + expose.width, expose.y + expose.height});
        }
    } else if (event.type() == XCB_VISIBILITY_NOTIFY) {
        const auto &notice = event.as<xcb_visibility_notify_event_t>();
        if (notice.window == _window) {
            setObscured(notice.state == XCB_VISIBILITY_FULLY_OBSCURED);
        }
    } else if (_listener) {
        servePointer(event);
    }
}

/// Two programs that both want the lowest window would lower theirs for ever, so this gives up.
void X11Surface::lowerBeneath(const std::vector<std::uint32_t> &windows) {
    if (_lowerings.size() > kMaxRemembered) {
        _lowerings.clear();
    }
    bool isWorthIt = false;
    for (const std::uint32_t window : windows) {
        isWorthIt = ++_lowerings[window] <= kMaxLowerings || isWorthIt;
    }
    if (isWorthIt) {
        goBelow();
    }
}

void X11Surface::goBelow() {
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(_connection.get(), _window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
}

/// Without these properties window managers would move and decorate the window. The process number
/// means something only together with the machine's name.
void X11Surface::describe() {
    const auto atom = [this](X11Atom name) { return _connection.atom(name); };
    _connection.setProperty(_window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, kTitle);
    _connection.setProperty(_window, atom(X11Atom::NetWMName), atom(X11Atom::Utf8String), kTitle);
    _connection.setClass(_window);
    std::array<char, 256> machine{};
    if (gethostname(machine.data(), machine.size() - 1) == 0) {
        _connection.setProperty(_window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING,
                                std::string_view(machine.data()));
        _connection.setProperty(_window, atom(X11Atom::NetWMPid), XCB_ATOM_CARDINAL,
                                {static_cast<std::uint32_t>(getpid())});
    }
    _connection.setProperty(_window, atom(X11Atom::NetWMWindowType), XCB_ATOM_ATOM,
                            {atom(X11Atom::NetWMWindowTypeDesktop)});
    _connection.setProperty(_window, atom(X11Atom::NetWMState), XCB_ATOM_ATOM,
                            {atom(X11Atom::NetWMStateBelow), atom(X11Atom::NetWMStateSticky),
                             atom(X11Atom::NetWMStateSkipTaskbar),
                             atom(X11Atom::NetWMStateSkipPager)});
    _connection.setProperty(_window, atom(X11Atom::NetWMDesktop), XCB_ATOM_CARDINAL,
                            {kAllWorkspaces});
    const std::uint32_t withoutInput = 0;
    _connection.setProperty(_window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS,
                            {kInputHint, withoutInput, 0, 0, 0, 0, 0, 0, 0});
}

/// Declares place and size as the user's own choice, which window managers do not change.
void X11Surface::fixPlace() {
    const auto width = static_cast<std::uint32_t>(area().width());
    const auto height = static_cast<std::uint32_t>(area().height());
    std::vector<std::uint32_t> hints(kSizeHintWords);
    hints[0] = kUserPlace | kUserSize | kMinSizeHint | kMaxSizeHint;
    hints[1] = static_cast<std::uint32_t>(area().left);
    hints[2] = static_cast<std::uint32_t>(area().top);
    hints[3] = hints[5] = hints[7] = width;
    hints[4] = hints[6] = hints[8] = height;
    _connection.setProperty(_window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, hints);
}

void X11Surface::letClicksThrough() {
    if (_connection.hasShapes()) {
        xcb_shape_rectangles(_connection.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                             XCB_CLIP_ORDERING_UNSORTED, _window, 0, 0, 0, nullptr);
    }
}

void X11Surface::tellGeometryUnless(const SurfaceGeometry &before) {
    if (_listener && geometry() != before) {
        _listener->surfaceGeometryChanged();
    }
}

void X11Surface::setObscured(bool isObscured) {
    const SurfaceVisibility before = visibility();
    _isObscured = isObscured;
    tellVisibilityUnless(before);
}

/// The main button taps and drags, the wheels scroll.
void X11Surface::servePointer(const X11Event &event) {
    if (event.type() == XCB_BUTTON_PRESS) {
        const auto &press = event.as<xcb_button_press_event_t>();
        if (press.event == _window) {
            servePress(press.detail, placeOf(press, _density));
        }
    } else if (event.type() == XCB_MOTION_NOTIFY) {
        const auto &motion = event.as<xcb_motion_notify_event_t>();
        if (motion.event == _window) {
            _gestures.moved(placeOf(motion, _density), *_listener);
        }
    } else if (event.type() == XCB_BUTTON_RELEASE) {
        const auto &release = event.as<xcb_button_release_event_t>();
        if (release.event == _window && release.detail == kMainButton) {
            _gestures.released(placeOf(release, _density), *_listener);
        }
    }
}

void X11Surface::servePress(std::uint8_t button, CGPoint point) {
    if (button == kMainButton) {
        _gestures.pressed(point);
    } else if (button == kWheelLeft || button == kWheelRight) {
        _listener->scrolledBy(button == kWheelLeft ? kPointsPerWheelStep : -kPointsPerWheelStep);
        _listener->scrollingEnded();
    } else if (button == kWheelUp || button == kWheelDown) {
        _listener->scrolledDownBy(button == kWheelUp ? kPointsPerTurn : -kPointsPerTurn);
    }
}

void X11Surface::tellVisibilityUnless(SurfaceVisibility before) {
    if (_listener && visibility() != before) {
        _listener->surfaceVisibilityChanged();
    }
}

} // namespace Lumivera
