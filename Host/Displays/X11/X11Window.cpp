#include "Host/Displays/X11/X11Window.h"

#include <algorithm>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Words = std::vector<std::uint32_t>;

constexpr std::uint32_t kAllWorkspaces = 0xffffffff;
constexpr std::uint32_t kOpaque = 0xffffffff;
constexpr std::uint32_t kMaxLength = 1 << 20;

/// The properties that decide what a window hides, in the order of X11WindowQuery::Property.
constexpr std::array kWindowProperties = {
    X11Atom::NetWMState,         X11Atom::NetWMDesktop,    X11Atom::NetWMWindowType,
    X11Atom::NetWMWindowOpacity, X11Atom::NetFrameExtents, X11Atom::NetWMOpaqueRegion,
    X11Atom::NetWMStrutPartial,  X11Atom::NetWMStrut,
};

bool contains(const Words &words, std::uint32_t word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// The area with the window's frame; `frame` has its widths at the left, right, top and bottom.
DeviceRect framed(const DeviceRect &area, const Words &frame) {
    if (frame.size() != 4) {
        return area;
    }
    return {area.left - x11Length(frame[0]), area.top - x11Length(frame[2]),
            area.right + x11Length(frame[1]), area.bottom + x11Length(frame[3])};
}

/// The rectangles that `numbers` lists, each as left, top, width and height within the window.
std::vector<DeviceRect> partsWithin(const DeviceRect &area, const Words &numbers) {
    std::vector<DeviceRect> parts;
    for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4) {
        const int left = area.left + x11Length(numbers[i]);
        const int top = area.top + x11Length(numbers[i + 1]);
        const DeviceRect part{left, top, left + x11Length(numbers[i + 2]),
                              top + x11Length(numbers[i + 3])};
        parts.push_back(part.intersection(area));
    }
    return parts;
}

/// The edges of the root that a panel reserves; `strut` has the widths at the left, right, top and
/// bottom and, for each, where it begins and ends.
std::vector<DeviceRect> edgesReserved(const Words &strut, const DeviceRect &root) {
    if (strut.size() < 4) {
        return {};
    }
    const auto end = [&strut](std::size_t index, int whole) {
        return strut.size() < 12 || strut[index] == 0 ? whole : x11Length(strut[index]) + 1;
    };
    const auto start = [&strut](std::size_t index) {
        return strut.size() < 12 ? 0 : x11Length(strut[index]);
    };
    return {{0, start(4), x11Length(strut[0]), end(5, root.bottom)},
            {root.right - x11Length(strut[1]), start(6), root.right, end(7, root.bottom)},
            {start(8), 0, end(9, root.right), x11Length(strut[2])},
            {start(10), root.bottom - x11Length(strut[3]), end(11, root.right), root.bottom}};
}

} // namespace

int x11Length(std::uint32_t word) { return static_cast<int>(std::min(word, kMaxLength)); }

X11WindowQuery::X11WindowQuery(X11Connection &connection, std::uint32_t window,
                               const DeviceRect &root)
    : _connection(connection), _window(window), _root(root) {
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
std::optional<X11Window> X11WindowQuery::answer() const {
    X11Window window;
    window.number = _window;
    const bool isShown = readPlace(window);
    Properties words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = _connection.propertyWords(_properties[i]).value_or(Words());
    }
    const bool hasShape = isShaped();
    if (!isShown || contains(words[States], _connection.atom(X11Atom::NetWMStateHidden))) {
        return {};
    }
    const auto hasState = [&](X11Atom state) {
        return contains(words[States], _connection.atom(state));
    };
    window.kind = kindOf(words);
    window.isFullScreen = hasState(X11Atom::NetWMStateFullScreen);
    window.isMaximized =
        hasState(X11Atom::NetWMStateMaximizedHorz) && hasState(X11Atom::NetWMStateMaximizedVert);
    if (!words[Workspace].empty() && words[Workspace][0] != kAllWorkspaces) {
        window.workspace = words[Workspace][0];
    }
    window.opaque = opaqueParts(window, words, hasShape);
    if (window.kind == X11Window::Kind::Panel) {
        const std::vector<DeviceRect> parts = panelParts(window, words);
        window.opaque.insert(window.opaque.end(), parts.begin(), parts.end());
    }
    return window;
}

bool X11WindowQuery::readPlace(X11Window &window) const {
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(server, {_attributes}, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(server, {_geometry}, nullptr));
    const X11Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(server, {_place}, nullptr));
    if (!attributes || !geometry || !place || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) {
        return false;
    }
    window.depth = geometry->depth;
    window.area = {place->dst_x, place->dst_y, place->dst_x + geometry->width,
                   place->dst_y + geometry->height};
    return true;
}

bool X11WindowQuery::isShaped() const {
    if (!_connection.hasShapes()) {
        return false;
    }
    const X11Reply<xcb_shape_query_extents_reply_t> shape(
        xcb_shape_query_extents_reply(_connection.get(), {_shape}, nullptr));
    return shape && shape->bounding_shaped;
}

X11Window::Kind X11WindowQuery::kindOf(const Properties &words) const {
    if (contains(words[Types], _connection.atom(X11Atom::NetWMWindowTypeDesktop))) {
        return X11Window::Kind::Icons;
    }
    return contains(words[Types], _connection.atom(X11Atom::NetWMWindowTypeDock))
               ? X11Window::Kind::Panel
               : X11Window::Kind::Normal;
}

std::vector<DeviceRect> X11WindowQuery::opaqueParts(const X11Window &window,
                                                    const Properties &words, bool hasShape) const {
    const bool isTranslucent = !words[Opacity].empty() && words[Opacity][0] != kOpaque;
    if (isTranslucent || hasShape) {
        return {};
    }
    if (window.hasAlpha()) {
        return partsWithin(window.area, words[OpaqueRegion]);
    }
    return {framed(window.area, words[Frame])};
}

/// A panel is part of the screen's edge, however much of it is transparent: where it has reserved
/// the edge, nobody looks for the wallpaper beneath it.
std::vector<DeviceRect> X11WindowQuery::panelParts(const X11Window &window,
                                                   const Properties &words) const {
    const Words &strut = words[words[StrutPartial].empty() ? Strut : StrutPartial];
    std::vector<DeviceRect> parts;
    for (const DeviceRect &edge : edgesReserved(strut, _root)) {
        const DeviceRect part = edge.intersection(window.area);
        if (!part.isEmpty()) {
            parts.push_back(part);
        }
    }
    return parts;
}

bool X11WindowQuery::asksFor(X11Connection &connection, std::uint32_t property) {
    return std::any_of(kWindowProperties.begin(), kWindowProperties.end(),
                       [&](X11Atom known) { return property == connection.atom(known); });
}

} // namespace Lumivera
