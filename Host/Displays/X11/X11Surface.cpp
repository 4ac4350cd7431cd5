#include "Host/Displays/X11/X11Surface.h"

#include <array>
#include <exception>
#include <unistd.h>
#include <utility>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr std::string_view kTitle = "Lumivera";
constexpr std::uint32_t kAllWorkspaces = 0xffffffff;

/// A window goes back to its place at most this often in that time.
constexpr std::size_t kMaxRestacks = 20;
constexpr Clock::Nanoseconds kRestackTime = 10'000'000'000;

/// Flags of WM_HINTS and WM_NORMAL_HINTS, and the length of the latter.
constexpr std::uint32_t kInputHint = 1;
constexpr std::uint32_t kUserPlace = 1;
constexpr std::uint32_t kUserSize = 2;
constexpr std::uint32_t kMinSizeHint = 16;
constexpr std::uint32_t kMaxSizeHint = 32;
constexpr std::size_t kSizeHintWords = 18;

constexpr std::uint32_t kShownEvents = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_VISIBILITY_CHANGE;

/// Seconds. A click may raise what is beneath, until the surface is back in its place.
constexpr NSTimeInterval kUntilObscured = 0.3;

constexpr CGFloat kPointsPerWheelStep = 20;
constexpr CGFloat kPointsPerTurn = 60;

} // namespace

X11Surface::X11Surface(X11Connection &connection, const X11Output &output, CGFloat density,
                       const X11Layer &layer)
    : _connection(connection), _output(output), _density(density), _layer(layer),
      _obscure([this] { setObscured(true); }) {
    makeWindow();
}

X11Surface::~X11Surface() { destroyWindow(); }

void X11Surface::makeWindow() {
    const X11Connection::WindowKind kind{_layer.isTransparent && !_layer.isShaped,
                                         _layer.isUnmanaged};
    _window = _connection.createWindow(area(), kind, kShownEvents);
    _presenter.emplace(_connection, _window, _connection.depth(kind.isTransparent));
    describe();
    fixPlace();
    letPointersThrough();
    if (_layer.isShaped) {
        _shape.emplace(_connection, _window);
        _shape->setBackground(_background);
    }
    restack();
}

void X11Surface::destroyWindow() {
    _shape.reset();
    _presenter.reset();
    xcb_destroy_window(_connection.get(), _window);
}

SurfaceGeometry X11Surface::geometry() const {
    return {static_cast<unsigned>(area().width()), static_cast<unsigned>(area().height()), _density,
            _layer.isTransparent};
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
    _memory = std::move(memory);
    _presenter->setBuffers(_shape ? nullptr : _memory);
    _presenter->requestRelease();
}

/// The first picture is drawn before the window manager shows the window, and so is lost. The
/// server sends an expose event then.
void X11Surface::present(unsigned, const std::vector<DeviceRect> &damage) {
    if (!_memory) {
        return;
    }
    if (!_isMapped) {
        map();
    }
    if (_shape) {
        showShape(damage);
    } else {
        _presenter->present(damage);
    }
}

/// Window managers forget what a window that leaves the screen has told them, so a new one waits
/// for the next picture.
void X11Surface::withdraw() {
    _memory.reset();
    _obscure.cancel();
    _isObscured = false;
    _isMapped = false;
    destroyWindow();
    makeWindow();
}

void X11Surface::map() {
    _isMapped = true;
    xcb_map_window(_connection.get(), _window);
    restack();
}

/// Shows in a new window what the old one showed: a wallpaper that is paused draws nothing.
void X11Surface::showAgain() {
    if (!_shape || updateShape({})) {
        _presenter->resume();
    }
    map();
}

/// The window shows a picture of its own, so the view may draw again as soon as the server has
/// that.
void X11Surface::showShape(const std::vector<DeviceRect> &damage) {
    if (updateShape(damage)) {
        _presenter->present(damage);
    } else {
        _presenter->requestRelease();
    }
}

/// False when there is no memory for a picture of its own; the window shows the last one until the
/// view draws the next.
bool X11Surface::updateShape(const std::vector<DeviceRect> &damage) {
    const auto before = _shape->picture();
    try {
        _shape->update(*_memory, damage);
    } catch (const std::exception &) {
        return false;
    }
    if (_shape->picture() != before) {
        _presenter->setBuffers(_shape->picture());
    }
    return true;
}

void X11Surface::setBackground(std::shared_ptr<const SharedBuffers> picture) {
    _background = std::move(picture);
    if (_shape) {
        _shape->setBackground(_background);
    }
}

void X11Surface::setArea(const DeviceRect &area) {
    if (area == _output.area) {
        return;
    }
    _output.area = area;
    fixPlace();
    const std::uint32_t values[] = {
        static_cast<std::uint32_t>(area.left), static_cast<std::uint32_t>(area.top),
        static_cast<std::uint32_t>(area.width()), static_cast<std::uint32_t>(area.height())};
    xcb_configure_window(_connection.get(), _window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    if (_listener) {
        _listener->surfaceGeometryChanged();
    }
}

void X11Surface::setDensity(CGFloat density) {
    const SurfaceGeometry before = geometry();
    _density = density;
    tellGeometryUnless(before);
}

/// A window of another kind takes the place of the old one. It shows the present picture at once,
/// unless that is not meant for it.
void X11Surface::setLayer(const X11Layer &layer) {
    if (layer == _layer) {
        return;
    }
    const SurfaceGeometry before = geometry();
    const X11Layer old = std::exchange(_layer, layer);
    if (!layer.takesWindowOf(old)) {
        const bool awaitsRelease = _presenter->awaitsRelease();
        const bool wasMapped = std::exchange(_isMapped, false);
        destroyWindow();
        _isObscured = false;
        _obscure.cancel();
        makeWindow();
        if (old.isTransparent != layer.isTransparent) {
            _memory.reset();
        }
        _presenter->setBuffers(_shape ? nullptr : _memory);
        if (_memory && wasMapped) {
            showAgain();
        }
        if (_memory && awaitsRelease) {
            _presenter->requestRelease();
        }
    }
    if (_listener && (geometry() != before || layer.layer.window != old.layer.window)) {
        _listener->surfaceGeometryChanged();
    }
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
    if (_presenter->takesRelease(event)) {
        if (_listener) {
            _listener->bufferWanted(0);
        }
        return;
    }
    if (event.type() == XCB_EXPOSE) {
        const auto &expose = event.as<xcb_expose_event_t>();
        if (expose.window == _window) {
            _presenter->repaint(
                {expose.x, expose.y, expose.x + expose.width, expose.y + expose.height});
        }
    } else if (event.type() == XCB_VISIBILITY_NOTIFY && !_shape) {
        // The server calls a shape hidden that has no petals, and none would come any more.
        const auto &notice = event.as<xcb_visibility_notify_event_t>();
        if (notice.window == _window) {
            if (notice.state == XCB_VISIBILITY_FULLY_OBSCURED) {
                _obscure.callAfter(kUntilObscured);
            } else {
                _obscure.cancel();
                setObscured(false);
            }
        }
    }
}

bool X11Surface::restack() {
    const Clock::Nanoseconds now = Clock::current().now();
    while (!_restackTimes.empty() && now - _restackTimes.front() > kRestackTime) {
        _restackTimes.pop_front();
    }
    if (_restackTimes.size() >= kMaxRestacks) {
        return false;
    }
    _restackTimes.push_back(now);
    const bool isAbove = _layer.beneath != 0;
    const std::uint32_t mode = isAbove ? XCB_STACK_MODE_ABOVE : XCB_STACK_MODE_BELOW;
    // Window managers know the window with icons itself, the server its frame.
    const std::uint32_t sibling = _layer.isUnmanaged ? _layer.beneath : _layer.icons;
    const std::uint32_t values[] = {sibling, mode};
    if (sibling != 0) {
        xcb_configure_window(_connection.get(), _window,
                             XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values);
    } else {
        xcb_configure_window(_connection.get(), _window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    }
    return true;
}

/// Without these properties window managers would move and decorate the window. The process number
/// means something only together with the machine's name.
void X11Surface::describe() {
    const auto atom = [this](X11Atom name) { return _connection.atom(name); };
    _connection.setProperty(_window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, kTitle);
    _connection.setProperty(_window, atom(X11Atom::NetWMName), atom(X11Atom::Utf8String), kTitle);
    _connection.setClass(_window);
    // Desktop shells find out by it which output this window fills.
    _connection.setProperty(_window, atom(X11Atom::WMWindowRole), XCB_ATOM_STRING, _output.name);
    std::array<char, 256> machine{};
    if (gethostname(machine.data(), machine.size() - 1) == 0) {
        _connection.setProperty(_window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING,
                                std::string_view(machine.data()));
        _connection.setProperty(_window, atom(X11Atom::NetWMPid), XCB_ATOM_CARDINAL,
                                {static_cast<std::uint32_t>(getpid())});
    }
    // Window managers may raise one window of the type desktop above another, and show nothing
    // beneath it. They keep a panel that is below all windows in front of both.
    _connection.setProperty(
        _window, atom(X11Atom::NetWMWindowType), XCB_ATOM_ATOM,
        {atom(_layer.isPanel ? X11Atom::NetWMWindowTypeDock : X11Atom::NetWMWindowTypeDesktop)});
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

void X11Surface::letPointersThrough() {
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
void X11Surface::servePointer(const X11Pointer::Action &action) {
    using Kind = X11Pointer::Action::Kind;
    if (!_listener) {
        return;
    }
    const CGPoint point{(action.x - area().left) / _density, (action.y - area().top) / _density};
    if (action.kind == Kind::Press) {
        servePress(action.button, point);
    } else if (action.kind == Kind::Move) {
        _gestures.moved(point, *_listener);
    } else if (action.button == X11Pointer::Main) {
        _gestures.released(point, *_listener);
    }
}

void X11Surface::servePress(std::uint8_t button, CGPoint point) {
    if (button == X11Pointer::Main) {
        _gestures.pressed(point);
    } else if (button == X11Pointer::WheelLeft || button == X11Pointer::WheelRight) {
        _listener->scrolledBy(button == X11Pointer::WheelLeft ? kPointsPerWheelStep
                                                              : -kPointsPerWheelStep);
        _listener->scrollingEnded();
    } else if (button == X11Pointer::WheelUp || button == X11Pointer::WheelDown) {
        _listener->scrolledDownBy(button == X11Pointer::WheelUp ? kPointsPerTurn : -kPointsPerTurn);
    }
}

void X11Surface::tellVisibilityUnless(SurfaceVisibility before) {
    if (_listener && visibility() != before) {
        _listener->surfaceVisibilityChanged();
    }
}

} // namespace Lumivera
