#include "Host/Displays/X11/X11Presenter.h"

#include <algorithm>
#include <fcntl.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// With more rectangles than this, presenting the one around them all is cheaper.
constexpr std::size_t kMaxRects = 512;

constexpr std::size_t kBandBytes = 256 * 1024;

/// The request length that every server must take, in bytes.
constexpr std::size_t kMinRequestBytes = 16 * 1024;

std::uint32_t newContext(xcb_connection_t *connection, std::uint32_t window) {
    const std::uint32_t context = xcb_generate_id(connection);
    const std::uint32_t without = 0;
    xcb_create_gc(connection, context, window, XCB_GC_GRAPHICS_EXPOSURES, &without);
    return context;
}

std::vector<DeviceRect> clipped(const std::vector<DeviceRect> &rects, const DeviceRect &whole) {
    std::vector<DeviceRect> result;
    DeviceRect around;
    for (const DeviceRect &rect : rects) {
        const DeviceRect part = rect.intersection(whole);
        if (!part.isEmpty()) {
            result.push_back(part);
            around = around.united(part);
        }
    }
    return result.size() > kMaxRects ? std::vector{around} : result;
}

DeviceRect wholeOf(const SharedBuffers &memory) {
    return {0, 0, static_cast<int>(memory.width()), static_cast<int>(memory.height())};
}

std::uint32_t byteSwapped(std::uint32_t word) {
    return word >> 24 | (word >> 8 & 0xff00) | (word << 8 & 0xff0000) | word << 24;
}

} // namespace

X11Presenter::X11Presenter(X11Connection &connection, std::uint32_t window, std::uint8_t depth)
    : _connection(connection), _window(window), _context(newContext(connection.get(), window)),
      _depth(depth) {}

X11Presenter::~X11Presenter() {
    detach();
    xcb_free_gc(_connection.get(), _context);
}

void X11Presenter::setBuffers(std::shared_ptr<SharedBuffers> memory) {
    detach();
    _memory = std::move(memory);
    _isShown = false;
    _awaitsRelease = false;
    attach();
}

void X11Presenter::present(const std::vector<DeviceRect> &damage) {
    if (!_memory) {
        return;
    }
    const DeviceRect whole = wholeOf(*_memory);
    const std::vector<DeviceRect> parts = clipped(_isShown ? damage : std::vector{whole}, whole);
    _isShown = true;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        show(parts[i], i + 1 == parts.size());
    }
    _awaitsRelease = true;
    _awaitsCompletion = _segment != 0 && !parts.empty();
    if (!_awaitsCompletion) {
        requestRelease();
    }
}

void X11Presenter::repaint(const DeviceRect &rect) {
    if (_memory && _isShown) {
        const DeviceRect part = rect.intersection(wholeOf(*_memory));
        if (!part.isEmpty()) {
            show(part, false);
        }
    }
}

/// Sends a message to our own window. The server handles requests in order, so the message arrives
/// after everything that was asked for before.
void X11Presenter::requestRelease() {
    _awaitsRelease = true;
    _awaitsCompletion = false;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = _window;
    message.type = _connection.atom(X11Atom::LumiveraRelease);
    message.data.data32[0] = ++_releaseNumber;
    xcb_send_event(_connection.get(), 0, _window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&message));
}

bool X11Presenter::takesRelease(const X11Event &event) {
    if (!_awaitsRelease || !isRelease(event)) {
        return false;
    }
    _awaitsRelease = false;
    return true;
}

/// Waits for the server to try: some cannot read such memory although they say so.
void X11Presenter::attach() {
    if (!_memory || !_connection.takesSharedMemory()) {
        return;
    }
    const int descriptor = fcntl(_memory->descriptor(), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) {
        return;
    }
    xcb_connection_t *connection = _connection.get();
    _segment = xcb_generate_id(connection);
    const auto cookie = xcb_shm_attach_fd_checked(connection, _segment, descriptor, 1);
    if (X11Reply<xcb_generic_error_t>(xcb_request_check(connection, cookie))) {
        _segment = 0;
    }
}

void X11Presenter::detach() {
    if (_segment != 0) {
        xcb_shm_detach(_connection.get(), _segment);
        _segment = 0;
    }
}

bool X11Presenter::isRelease(const X11Event &event) const {
    if (_awaitsCompletion) {
        return _connection.isCompletion(event) &&
               event.as<xcb_shm_completion_event_t>().shmseg == _segment;
    }
    if (event.type() != XCB_CLIENT_MESSAGE) {
        return false;
    }
    const auto &message = event.as<xcb_client_message_event_t>();
    return message.window == _window &&
           message.type == _connection.atom(X11Atom::LumiveraRelease) &&
           message.data.data32[0] == _releaseNumber;
}

void X11Presenter::show(const DeviceRect &rect, bool isLast) {
    if (_segment == 0) {
        sendRows(rect);
        return;
    }
    const auto narrow = [](int length) { return static_cast<std::uint16_t>(length); };
    xcb_shm_put_image(_connection.get(), _window, _context,
                      static_cast<std::uint16_t>(_memory->width()),
                      static_cast<std::uint16_t>(_memory->height()), narrow(rect.left),
                      narrow(rect.top), narrow(rect.width()), narrow(rect.height()),
                      static_cast<std::int16_t>(rect.left), static_cast<std::int16_t>(rect.top),
                      _depth, XCB_IMAGE_FORMAT_Z_PIXMAP, isLast, _segment, 0);
}

/// Sends bands of rows, because the length of a request is limited.
void X11Presenter::sendRows(const DeviceRect &rect) {
    const std::size_t longest = std::size_t{4} * xcb_get_maximum_request_length(_connection.get());
    if (longest < kMinRequestBytes) {
        return; // the connection is lost
    }
    const std::size_t room = std::min(longest, kBandBytes) - sizeof(xcb_put_image_request_t) - 4;
    const int rows = std::max(1, static_cast<int>(room / 4) / rect.width());
    for (int top = rect.top; top < rect.bottom; top += rows) {
        const DeviceRect band{rect.left, top, rect.right, std::min(top + rows, rect.bottom)};
        fillBand(band);
        xcb_put_image(_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, _window, _context,
                      static_cast<std::uint16_t>(band.width()),
                      static_cast<std::uint16_t>(band.height()),
                      static_cast<std::int16_t>(band.left), static_cast<std::int16_t>(band.top), 0,
                      _depth, static_cast<std::uint32_t>(_band.size() * 4),
                      reinterpret_cast<const std::uint8_t *>(_band.data()));
    }
}

void X11Presenter::fillBand(const DeviceRect &rect) {
    _band.clear();
    for (int y = rect.top; y < rect.bottom; ++y) {
        const std::uint32_t *row =
            _memory->pixels(0) + static_cast<std::size_t>(y) * _memory->width();
        _band.insert(_band.end(), row + rect.left, row + rect.right);
    }
    if (_connection.swapsBytes()) {
        std::transform(_band.begin(), _band.end(), _band.begin(), byteSwapped);
    }
}

} // namespace Lumivera
