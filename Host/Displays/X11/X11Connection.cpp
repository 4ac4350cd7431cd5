#include "Host/Displays/X11/X11Connection.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Patience.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <sys/socket.h>
#include <utility>
#include <xcb/randr.h>
#include <xcb/screensaver.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace Lumivera {

namespace {

constexpr const char *kSubject = "X11";
constexpr std::uint32_t kMaxPropertyWords = 16 * 1024;

/// In the order of X11Atom.
constexpr std::array<std::string_view, static_cast<std::size_t>(X11Atom::Count)> kAtomNames = {
    "UTF8_STRING",
    "_LUMIVERA_RELEASE",
    "MANAGER",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_CURRENT_DESKTOP",
    "_NET_FRAME_EXTENTS",
    "_NET_SHOWING_DESKTOP",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_WM_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_OPAQUE_REGION",
    "_NET_WM_PID",
    "_NET_WM_STATE",
    "_NET_WM_STATE_BELOW",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_MAXIMIZED_VERT",
    "_NET_WM_STATE_SKIP_PAGER",
    "_NET_WM_STATE_SKIP_TASKBAR",
    "_NET_WM_STATE_STICKY",
    "_NET_WM_STRUT",
    "_NET_WM_STRUT_PARTIAL",
    "_NET_WM_WINDOW_OPACITY",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_WORKAREA",
    "WM_WINDOW_ROLE",
    "_XSETTINGS_SETTINGS",
};

/// In the order of X11Selection, before the number of the screen.
constexpr std::array<std::string_view, static_cast<std::size_t>(X11Selection::Count)>
    kSelectionNames = {"_NET_WM_CM_S", "_XSETTINGS_S"};

static_assert(!kAtomNames.back().empty() && !kSelectionNames.back().empty());

/// A desktop that has just begun may be busy for a while.
constexpr NSTimeInterval kAnswerSeconds = 15;

constexpr std::uint8_t kTransparentDepth = 32;

bool isOurFormat(const xcb_visualtype_t &visual) {
    return visual._class == XCB_VISUAL_CLASS_TRUE_COLOR && visual.red_mask == 0xff0000 &&
           visual.green_mask == 0x00ff00 && visual.blue_mask == 0x0000ff;
}

bool isWordPerPixel(const xcb_setup_t *setup, std::uint8_t depth) {
    const xcb_format_t *formats = xcb_setup_pixmap_formats(setup);
    const xcb_format_t *end = formats + xcb_setup_pixmap_formats_length(setup);
    return std::any_of(formats, end, [&](const xcb_format_t &format) {
        return format.depth == depth && format.bits_per_pixel == 32;
    });
}

xcb_intern_atom_cookie_t askForAtom(xcb_connection_t *connection, std::string_view name) {
    return xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
}

std::uint32_t atomFrom(xcb_connection_t *connection, xcb_intern_atom_cookie_t cookie) {
    const X11Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : static_cast<std::uint32_t>(XCB_ATOM_NONE);
}

std::uint8_t firstEvent(xcb_connection_t *connection, xcb_extension_t *extension) {
    const xcb_query_extension_reply_t *data = xcb_get_extension_data(connection, extension);
    return data && data->present ? data->first_event : 0;
}

std::string reasonFor(int error) {
    switch (error) {
    case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
        return "the X server lacks an extension";
    case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
        return "no memory is left for what the X server sends";
    case XCB_CONN_CLOSED_REQ_LEN_EXCEED:
        return "the X server takes no requests of that length";
    case XCB_CONN_CLOSED_FDPASSING_FAILED:
        return "the X server takes no descriptors";
    default:
        return "the X server has closed the connection";
    }
}

} // namespace

/// The library waits for the server, which may have been stopped. Asks it something, because it is
/// expected to answer later, too.
X11Connection::Opened X11Connection::connect() {
    const auto opened = Patience::resultOf<Opened>(
        [] {
            int screen = 0;
            const std::shared_ptr<xcb_connection_t> connection(xcb_connect(nullptr, &screen),
                                                               xcb_disconnect);
            const X11Reply<xcb_get_input_focus_reply_t> answer(xcb_get_input_focus_reply(
                connection.get(), xcb_get_input_focus(connection.get()), nullptr));
            return Opened{connection, screen};
        },
        kAnswerSeconds);
    if (!opened) {
        throw HostError(kSubject, "the server does not answer",
                        "look whether another program can show a window");
    }
    return *opened;
}

X11Connection::X11Connection(DescriptorWatch &waiter, X11Listener &listener)
    : _waiter(waiter), _listener(listener) {
    const Opened opened = connect();
    _owned = opened.connection;
    _connection = _owned.get();
    chooseScreen(opened.screen);
    internAtoms(opened.screen);
    findExtensions();
    _waiter.add(*this);
}

X11Connection::~X11Connection() { _waiter.remove(*this); }

std::uint32_t X11Connection::root() const { return _screen->root; }

DeviceRect X11Connection::rootArea() const {
    return {0, 0, _screen->width_in_pixels, _screen->height_in_pixels};
}

bool X11Connection::isOwn(std::uint32_t window) const {
    const xcb_setup_t *setup = xcb_get_setup(_connection);
    return (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

bool X11Connection::isMonitorChange(const X11Event &event) const {
    return _monitorEvents && (event.type() == *_monitorEvents + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                              event.type() == *_monitorEvents + XCB_RANDR_NOTIFY);
}

bool X11Connection::isServerLittle() const {
    return xcb_get_setup(_connection)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
}

bool X11Connection::swapsBytes() const {
    return isServerLittle() != (std::endian::native == std::endian::little);
}

bool X11Connection::isInput(const X11Event &event, std::uint16_t number) const {
    if (!_inputExtension || event.type() != XCB_GE_GENERIC) {
        return false;
    }
    const auto &generic = event.as<xcb_ge_generic_event_t>();
    return generic.extension == *_inputExtension && generic.event_type == number;
}

std::uint32_t X11Connection::createWindow(const DeviceRect &area, const WindowKind &kind,
                                          std::uint32_t eventMask) {
    const Colors &colors = kind.isTransparent ? _transparent : _opaque;
    const std::uint32_t window = xcb_generate_id(_connection);
    const std::uint32_t values[] = {0, XCB_GRAVITY_NORTH_WEST, kind.isUnmanaged ? 1U : 0U,
                                    eventMask, colors.colormap};
    xcb_create_window(
        _connection, colors.depth, window, root(), static_cast<std::int16_t>(area.left),
        static_cast<std::int16_t>(area.top), static_cast<std::uint16_t>(area.width()),
        static_cast<std::uint16_t>(area.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, colors.visual,
        XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK |
            XCB_CW_COLORMAP,
        values);
    return window;
}

std::uint8_t X11Connection::depth(bool isTransparent) const {
    return isTransparent ? _transparent.depth : _opaque.depth;
}

unsigned X11Connection::askForOwner(X11Selection selection) const {
    return xcb_get_selection_owner(_connection, _selections[static_cast<std::size_t>(selection)])
        .sequence;
}

std::uint32_t X11Connection::selectionOwner(unsigned question) const {
    const X11Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(_connection, {question}, nullptr));
    return reply ? reply->owner : static_cast<std::uint32_t>(XCB_WINDOW_NONE);
}

void X11Connection::setClass(std::uint32_t window) {
    using namespace std::string_view_literals;
    setProperty(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, "lumivera\0Lumivera\0"sv);
    static_assert("lumivera\0Lumivera\0"sv.substr(9, 8) == kClass);
}

void X11Connection::setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                                std::string_view text) {
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, name, type, 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
}

void X11Connection::setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                                const std::vector<std::uint32_t> &words) {
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, name, type, 32,
                        static_cast<std::uint32_t>(words.size()), words.data());
}

unsigned X11Connection::askForProperty(std::uint32_t window, std::uint32_t name) const {
    return xcb_get_property(_connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0,
                            kMaxPropertyWords)
        .sequence;
}

std::optional<std::vector<std::uint32_t>> X11Connection::propertyWords(unsigned question) const {
    const X11Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(_connection, {question}, nullptr));
    if (!reply || reply->format != 32) {
        return {};
    }
    const auto *words = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return std::vector(words, words + xcb_get_property_value_length(reply.get()) / 4);
}

std::string X11Connection::propertyBytes(unsigned question) const {
    const X11Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(_connection, {question}, nullptr));
    if (!reply || reply->format != 8) {
        return {};
    }
    return {static_cast<const char *>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

int X11Connection::descriptor() const { return xcb_get_file_descriptor(_connection); }

/// While a reply was waited for, events may have been read as well. poll() no longer reports them.
bool X11Connection::prepareToWait() {
    xcb_flush(_connection);
    if (!_arrived) {
        _arrived.reset(xcb_poll_for_queued_event(_connection));
    }
    return _arrived || xcb_connection_has_error(_connection) != 0;
}

/// Reads from the socket once only; poll() reports what arrives later.
void X11Connection::serve() {
    X11Reply<void> event = std::move(_arrived);
    if (!event) {
        event.reset(xcb_poll_for_event(_connection));
    }
    for (; event; event.reset(xcb_poll_for_queued_event(_connection))) {
        serveEvent(event.get());
    }
    if (xcb_connection_has_error(_connection) != 0) {
        loseConnection();
    } else {
        _listener.eventsEnded();
    }
}

void X11Connection::chooseScreen(int number) {
    if (xcb_connection_has_error(_connection) != 0) {
        const char *name = std::getenv("DISPLAY");
        throw HostError(kSubject, name && *name
                                      ? "there is no server at DISPLAY=" + std::string(name)
                                      : "DISPLAY is not set, so there is no server");
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(_connection));
    for (; number > 0 && screens.rem > 1; --number) {
        xcb_screen_next(&screens);
    }
    _screen = screens.data;
    if (!chooseVisuals()) {
        throw HostError(kSubject, "the screen cannot show 24-bit colours",
                        "choose a colour depth of 24 bits for it");
    }
}

/// Prefers the root's own visual, for which the server converts no colours. False without one for
/// opaque windows.
bool X11Connection::chooseVisuals() {
    const xcb_setup_t *setup = xcb_get_setup(_connection);
    for (auto depths = xcb_screen_allowed_depths_iterator(_screen); depths.rem > 0;
         xcb_depth_next(&depths)) {
        const std::uint8_t depth = depths.data->depth;
        const bool isTransparent = depth == kTransparentDepth;
        const bool isOpaque = depth == 24 || (depth == _screen->root_depth && !isTransparent);
        if ((!isOpaque && !isTransparent) || !isWordPerPixel(setup, depth)) {
            continue;
        }
        Colors &colors = isTransparent ? _transparent : _opaque;
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
             xcb_visualtype_next(&visuals)) {
            const bool isRoots = visuals.data->visual_id == _screen->root_visual;
            if (isOurFormat(*visuals.data) && (isRoots || colors.visual == 0)) {
                colors.visual = visuals.data->visual_id;
                colors.depth = depth;
            }
        }
    }
    for (Colors *colors : {&_opaque, &_transparent}) {
        if (colors->visual != 0) {
            colors->colormap = xcb_generate_id(_connection);
            xcb_create_colormap(_connection, XCB_COLORMAP_ALLOC_NONE, colors->colormap, root(),
                                colors->visual);
        }
    }
    return _opaque.visual != 0;
}

/// Sends all requests before it waits for the first reply, so that they take one round trip.
void X11Connection::internAtoms(int screen) {
    std::array<xcb_intern_atom_cookie_t, kAtomNames.size()> atoms;
    std::array<xcb_intern_atom_cookie_t, kSelectionNames.size()> selections;
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        atoms[i] = askForAtom(_connection, kAtomNames[i]);
    }
    for (std::size_t i = 0; i < selections.size(); ++i) {
        const std::string name = std::string(kSelectionNames[i]) + std::to_string(screen);
        selections[i] = askForAtom(_connection, name);
    }
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        _atoms[i] = atomFrom(_connection, atoms[i]);
    }
    for (std::size_t i = 0; i < selections.size(); ++i) {
        _selections[i] = atomFrom(_connection, selections[i]);
    }
}

/// Shared memory is used with a local server only: a file descriptor cannot be sent to another
/// machine, and trying breaks the connection.
void X11Connection::findExtensions() {
    for (xcb_extension_t *extension :
         {&xcb_shm_id, &xcb_randr_id, &xcb_shape_id, &xcb_screensaver_id, &xcb_input_id}) {
        xcb_prefetch_extension_data(_connection, extension);
    }
    _hasShapes = firstEvent(_connection, &xcb_shape_id) != 0;
    if (const std::uint8_t first = firstEvent(_connection, &xcb_shm_id); first != 0 && isLocal()) {
        const X11Reply<xcb_shm_query_version_reply_t> version(
            xcb_shm_query_version_reply(_connection, xcb_shm_query_version(_connection), nullptr));
        if (version && (version->major_version > 1 || version->minor_version >= 2)) {
            _sharedMemoryEvent = static_cast<std::uint8_t>(first + XCB_SHM_COMPLETION);
        }
    }
    if (const std::uint8_t first = firstEvent(_connection, &xcb_randr_id); first != 0) {
        const X11Reply<xcb_randr_query_version_reply_t> version(xcb_randr_query_version_reply(
            _connection, xcb_randr_query_version(_connection, 1, 5), nullptr));
        if (version && (version->major_version > 1 || version->minor_version >= 5)) {
            _monitorEvents = first;
        }
    }
    if (const std::uint8_t first = firstEvent(_connection, &xcb_screensaver_id); first != 0) {
        _screenSaverEvent = static_cast<std::uint8_t>(first + XCB_SCREENSAVER_NOTIFY);
    }
    findInput();
}

/// Touches are reported since version 2.2, and since 2.1 also what happens while a program has
/// grabbed a pointer.
void X11Connection::findInput() {
    const xcb_query_extension_reply_t *data = xcb_get_extension_data(_connection, &xcb_input_id);
    if (!data || !data->present) {
        return;
    }
    const X11Reply<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        _connection, xcb_input_xi_query_version(_connection, 2, 2), nullptr));
    if (version && (version->major_version > 2 ||
                    (version->major_version == 2 && version->minor_version >= 2))) {
        _inputExtension = data->major_opcode;
    }
}

bool X11Connection::isLocal() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return getsockname(descriptor(), reinterpret_cast<sockaddr *>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

void X11Connection::serveEvent(void *event) {
    const X11Event arrived(event);
    if (arrived.type() != 0) { // 0 is an error reply to a request
        _listener.eventArrived(arrived);
    }
}

void X11Connection::loseConnection() {
    _waiter.remove(*this);
    if (!_isLost) {
        _isLost = true;
        _listener.connectionLost(reasonFor(xcb_connection_has_error(_connection)));
    }
}

} // namespace Lumivera
