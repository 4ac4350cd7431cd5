#include "Host/Displays/X11/X11WindowQuery.h"

#include "Host/Displays/X11/X11Connection.h"

#include <algorithm>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Words = std::vector<std::uint32_t>;

constexpr std::uint32_t kAllWorkspaces = 0xffffffff;
constexpr std::uint8_t kDepthWithAlpha = 32;
constexpr std::uint32_t kOpaque = 0xffffffff;

/// Lengths that no screen has, and whose sums are still numbers.
constexpr std::uint32_t kLongest = 1 << 20;

bool contains(const Words &words, std::uint32_t word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

int length(std::uint32_t word) { return static_cast<int>(std::min(word, kLongest)); }

/// With its frame: left, right, top, bottom.
DeviceRect framed(const DeviceRect &area, const Words &frame) {
    if (frame.size() != 4) {
        return area;
    }
    return {area.left - length(frame[0]), area.top - length(frame[2]),
            area.right + length(frame[1]), area.bottom + length(frame[3])};
}

/// Rectangles of left, top, width and height within the window.
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

} // namespace

X11WindowQuery::X11WindowQuery(X11Connection &connection, std::uint32_t window)
    : _connection(connection), _window(window) {
    static constexpr std::array<X11Atom, PropertyCount> kNames = {
        X11Atom::NetWMState,         X11Atom::NetWMDesktop,    X11Atom::NetWMWindowType,
        X11Atom::NetWMWindowOpacity, X11Atom::NetFrameExtents, X11Atom::NetWMOpaqueRegion,
    };
    xcb_connection_t *server = connection.get();
    _attributes = xcb_get_window_attributes(server, window).sequence;
    _geometry = xcb_get_geometry(server, window).sequence;
    _place = xcb_translate_coordinates(server, window, connection.root(), 0, 0).sequence;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        _properties[i] = connection.askForProperty(window, connection.atom(kNames[i]));
    }
    if (connection.hasShapes()) {
        _shape = xcb_shape_query_extents(server, window).sequence;
    }
}

/// Every answer is taken, or the connection would keep those that nobody asks for.
std::optional<X11WindowFacts> X11WindowQuery::answer() const {
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
    X11WindowFacts facts{_window, *area, {}, false, {}};
    facts.isFullScreen = contains(words[States], _connection.atom(X11Atom::NetWMStateFullScreen));
    if (!words[Workspace].empty() && words[Workspace][0] != kAllWorkspaces) {
        facts.workspace = words[Workspace][0];
    }
    const bool isTranslucent = !words[Opacity].empty() && words[Opacity][0] != kOpaque;
    if (depth == kDepthWithAlpha && !isTranslucent && !hasShape) {
        facts.opaque = partsWithin(*area, words[OpaqueRegion]);
    } else if (!isTranslucent && !hasShape) {
        facts.opaque = {framed(*area, words[Frame])};
    }
    return facts;
}

std::optional<DeviceRect> X11WindowQuery::areaWhereShown(std::uint8_t &depth) const {
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

bool X11WindowQuery::isShaped() const {
    if (!_connection.hasShapes()) {
        return false;
    }
    const X11Reply<xcb_shape_query_extents_reply_t> shape(
        xcb_shape_query_extents_reply(_connection.get(), {_shape}, nullptr));
    return shape && shape->bounding_shaped;
}

} // namespace Lumivera
