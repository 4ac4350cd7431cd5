#include "Host/Displays/X11/X11WindowStack.h"

#include <algorithm>
#include <numeric>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Words = std::vector<std::uint32_t>;

constexpr std::uint32_t kAllWorkspaces = 0xffffffff;
constexpr std::uint8_t kDepthWithAlpha = 32;
constexpr std::uint32_t kOpaque = 0xffffffff;

/// Other programs' lengths are cut to this, which no screen reaches, so that sums do not overflow.
constexpr std::uint32_t kMaxLength = 1 << 20;

/// If there are more windows, only the topmost this many count.
constexpr std::ptrdiff_t kMaxWindows = 1024;

/// The properties that decide what a window hides, in the order of Query::Property.
constexpr std::array kWindowProperties = {
    X11Atom::NetWMState,         X11Atom::NetWMDesktop,    X11Atom::NetWMWindowType,
    X11Atom::NetWMWindowOpacity, X11Atom::NetFrameExtents, X11Atom::NetWMOpaqueRegion,
};

bool contains(const Words &words, std::uint32_t word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

int length(std::uint32_t word) { return static_cast<int>(std::min(word, kMaxLength)); }

/// The area with the window's frame; `frame` has its widths at the left, right, top and bottom.
DeviceRect framed(const DeviceRect &area, const Words &frame) {
    if (frame.size() != 4) {
        return area;
    }
    return {area.left - length(frame[0]), area.top - length(frame[2]),
            area.right + length(frame[1]), area.bottom + length(frame[3])};
}

/// The rectangles that `numbers` lists, each as left, top, width and height within the window.
std::vector<DeviceRect> partsWithin(const DeviceRect &area, const Words &numbers) {
    std::vector<DeviceRect> parts;
    for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4) {
        const int left = area.left + length(numbers[i]);
        const int top = area.top + length(numbers[i + 1]);
        const DeviceRect part{left, top, left + length(numbers[i + 2]),
                              top + length(numbers[i + 3])};
        parts.push_back(part.intersection(area));
    }
    return parts;
}

void addIfAny(std::vector<DeviceRect> &pieces, const DeviceRect &piece) {
    if (!piece.isEmpty()) {
        pieces.push_back(piece);
    }
}

/// Adds the parts of a piece above, below, left and right of a hole in it.
void addAround(std::vector<DeviceRect> &pieces, const DeviceRect &piece, const DeviceRect &hole) {
    addIfAny(pieces, {piece.left, piece.top, piece.right, hole.top});
    addIfAny(pieces, {piece.left, hole.bottom, piece.right, piece.bottom});
    addIfAny(pieces, {piece.left, hole.top, hole.left, hole.bottom});
    addIfAny(pieces, {hole.right, hole.top, piece.right, hole.bottom});
}

} // namespace

RemainingArea::RemainingArea(const DeviceRect &whole) { addIfAny(_pieces, whole); }

void RemainingArea::remove(const DeviceRect &rect) {
    if (_pieces.size() > kMaxPieces) {
        return;
    }
    _next.clear();
    for (const DeviceRect &piece : _pieces) {
        const DeviceRect hole = piece.intersection(rect);
        if (hole.isEmpty()) {
            _next.push_back(piece);
        } else {
            addAround(_next, piece, hole);
        }
    }
    _pieces.swap(_next);
}

long long RemainingArea::area() const {
    return std::accumulate(
        _pieces.begin(), _pieces.end(), 0LL,
        [](long long sum, const DeviceRect &piece) { return sum + piece.area(); });
}

/// Questions about a window. The constructor sends them and answer() waits, so that questions about
/// many windows take one round trip.
class X11WindowStack::Query {
  public:
    Query(X11Connection &connection, std::uint32_t window);

    /// Waits for the answers. Nothing for a window that has gone, is not shown, or is a desktop
    /// itself. Call it once.
    std::optional<Window> answer() const;

  private:
    enum Property { States, Workspace, Types, Opacity, Frame, OpaqueRegion, PropertyCount };

    std::optional<DeviceRect> areaWhereShown(std::uint8_t &depth) const;
    bool isShaped() const;

    X11Connection &_connection;
    std::uint32_t _window;
    unsigned _attributes = 0;
    unsigned _geometry = 0;
    unsigned _place = 0;
    unsigned _shape = 0;
    std::array<unsigned, PropertyCount> _properties{};
};

X11WindowStack::Query::Query(X11Connection &connection, std::uint32_t window)
    : _connection(connection), _window(window) {
    static_assert(kWindowProperties.size() == PropertyCount);
    xcb_connection_t *server = connection.get();
    _attributes = xcb_get_window_attributes(server, window).sequence;
    _geometry = xcb_get_geometry(server, window).sequence;
    _place = xcb_translate_coordinates(server, window, connection.root(), 0, 0).sequence;
    for (std::size_t i = 0; i < kWindowProperties.size(); ++i) {
        _properties[i] = connection.askForProperty(window, connection.atom(kWindowProperties[i]));
    }
    if (connection.hasShapes()) {
        _shape = xcb_shape_query_extents(server, window).sequence;
    }
}

/// Takes every reply, even if the first one decides: xcb keeps replies that are not taken.
std::optional<X11WindowStack::Window> X11WindowStack::Query::answer() const {
    std::uint8_t depth = 0;
    const std::optional<DeviceRect> area = areaWhereShown(depth);
    std::array<Words, PropertyCount> words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = _connection.propertyWords(_properties[i]).value_or(Words());
    }
    const bool hasShape = isShaped();
    if (!area || contains(words[Types], _connection.atom(X11Atom::NetWMWindowTypeDesktop)) ||
        contains(words[States], _connection.atom(X11Atom::NetWMStateHidden))) {
        return {};
    }
    Window shown{_window, *area, {}, false, {}};
    shown.isFullScreen = contains(words[States], _connection.atom(X11Atom::NetWMStateFullScreen));
    if (!words[Workspace].empty() && words[Workspace][0] != kAllWorkspaces) {
        shown.workspace = words[Workspace][0];
    }
    const bool isTranslucent = !words[Opacity].empty() && words[Opacity][0] != kOpaque;
    if (depth == kDepthWithAlpha && !isTranslucent && !hasShape) {
        shown.opaque = partsWithin(*area, words[OpaqueRegion]);
    } else if (!isTranslucent && !hasShape) {
        shown.opaque = {framed(*area, words[Frame])};
    }
    return shown;
}

std::optional<DeviceRect> X11WindowStack::Query::areaWhereShown(std::uint8_t &depth) const {
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(server, {_attributes}, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(server, {_geometry}, nullptr));
    const X11Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(server, {_place}, nullptr));
    if (!attributes || !geometry || !place || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) {
        return {};
    }
    depth = geometry->depth;
    return DeviceRect{place->dst_x, place->dst_y, place->dst_x + geometry->width,
                      place->dst_y + geometry->height};
}

bool X11WindowStack::Query::isShaped() const {
    if (!_connection.hasShapes()) {
        return false;
    }
    const X11Reply<xcb_shape_query_extents_reply_t> shape(
        xcb_shape_query_extents_reply(_connection.get(), {_shape}, nullptr));
    return shape && shape->bounding_shaped;
}

bool X11WindowStack::isChange(const X11Event &event) const {
    switch (event.type()) {
    case XCB_PROPERTY_NOTIFY: {
        const auto &property = event.as<xcb_property_notify_event_t>();
        return property.window == _connection.root() ? isManagersProperty(property.atom)
                                                     : isWindowsProperty(property.atom);
    }
    case XCB_CONFIGURE_NOTIFY:
        return !_connection.isOwn(event.as<xcb_configure_notify_event_t>().window);
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
    case XCB_DESTROY_NOTIFY:
    case XCB_REPARENT_NOTIFY:
    case XCB_CIRCULATE_NOTIFY:
        return true;
    default:
        return false;
    }
}

void X11WindowStack::read() {
    _isManaged = readManagersWindows();
    if (!_isManaged) {
        readChildrenOfRoot();
    }
    if (std::ssize(_order) > kMaxWindows) {
        _order.erase(_order.begin(), _order.end() - kMaxWindows);
    }
    watch();
    std::vector<Query> queries;
    for (const std::uint32_t window : _order) {
        if (!_connection.isOwn(window)) {
            queries.emplace_back(_connection, window);
        }
    }
    _windows.clear();
    for (const Query &query : queries) {
        std::optional<Window> window = query.answer();
        if (window && isOnCurrentWorkspace(*window)) {
            _windows.push_back(std::move(*window));
        }
    }
}

SurfaceVisibility X11WindowStack::visibilityOf(const DeviceRect &area) const {
    RemainingArea remaining(area);
    for (const Window &window : _windows) {
        for (const DeviceRect &part : window.opaque) {
            if (window.isFullScreen && part.contains(area)) {
                return SurfaceVisibility::FullScreen;
            }
            remaining.remove(part);
        }
    }
    return remaining.isEmpty() ? SurfaceVisibility::Covered : SurfaceVisibility::Visible;
}

std::vector<std::uint32_t> X11WindowStack::windowsBeneath(std::uint32_t window,
                                                          const DeviceRect &area) const {
    std::vector<std::uint32_t> beneath;
    const auto ours = std::find(_order.begin(), _order.end(), window);
    if (_isManaged || ours == _order.end()) {
        return beneath;
    }
    for (const Window &other : _windows) {
        if (other.area.intersects(area) && std::find(_order.begin(), ours, other.number) != ours) {
            beneath.push_back(other.number);
        }
    }
    return beneath;
}

bool X11WindowStack::isManagersProperty(std::uint32_t name) const {
    return name == _connection.atom(X11Atom::NetClientListStacking) ||
           name == _connection.atom(X11Atom::NetCurrentDesktop) ||
           name == _connection.atom(X11Atom::NetSupportingWMCheck);
}

bool X11WindowStack::isWindowsProperty(std::uint32_t name) const {
    return std::any_of(kWindowProperties.begin(), kWindowProperties.end(),
                       [&](X11Atom known) { return name == _connection.atom(known); });
}

/// False without a window manager that lists its windows. A window manager that has ended leaves
/// its list on the root; it is ignored.
bool X11WindowStack::readManagersWindows() {
    const auto ask = [this](X11Atom name) {
        return _connection.askForProperty(_connection.root(), _connection.atom(name));
    };
    const unsigned check = ask(X11Atom::NetSupportingWMCheck);
    const unsigned list = ask(X11Atom::NetClientListStacking);
    const unsigned workspace = ask(X11Atom::NetCurrentDesktop);
    const auto checked = _connection.propertyWords(check);
    const auto listed = _connection.propertyWords(list);
    const auto current = _connection.propertyWords(workspace);
    if (!checked || !listed || !isManagerThere(*checked)) {
        return false;
    }
    _order = *listed;
    _currentWorkspace.reset();
    if (current && !current->empty()) {
        _currentWorkspace = (*current)[0];
    }
    return true;
}

/// The property on the root names a window. While the manager runs, that window names itself.
bool X11WindowStack::isManagerThere(const std::vector<std::uint32_t> &check) const {
    return !check.empty() &&
           _connection.propertyWords(_connection.askForProperty(
               check[0], _connection.atom(X11Atom::NetSupportingWMCheck))) == check;
}

void X11WindowStack::readChildrenOfRoot() {
    _order.clear();
    _currentWorkspace.reset();
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_query_tree_reply_t> reply(
        xcb_query_tree_reply(server, xcb_query_tree(server, _connection.root()), nullptr));
    if (reply) {
        const std::uint32_t *children = xcb_query_tree_children(reply.get());
        _order.assign(children, children + xcb_query_tree_children_length(reply.get()));
    }
}

/// Forgets windows that have gone, because their numbers may be given to new ones.
void X11WindowStack::watch() {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    std::set<std::uint32_t> watched;
    for (const std::uint32_t window : _order) {
        if (_connection.isOwn(window)) {
            continue;
        }
        if (!_watched.contains(window)) {
            xcb_change_window_attributes(_connection.get(), window, XCB_CW_EVENT_MASK, &events);
        }
        watched.insert(window);
    }
    _watched.swap(watched);
}

bool X11WindowStack::isOnCurrentWorkspace(const Window &window) const {
    return !window.workspace || !_currentWorkspace || *window.workspace == *_currentWorkspace;
}

} // namespace Lumivera
