#include "Host/Displays/X11/X11WindowStack.h"

#include "Host/Displays/X11/RemainingArea.h"

#include <algorithm>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// The topmost ones count where there are more.
constexpr std::ptrdiff_t kMostWindows = 1024;

} // namespace

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
    if (std::ssize(_order) > kMostWindows) {
        _order.erase(_order.begin(), _order.end() - kMostWindows);
    }
    watch();
    std::vector<X11WindowQuery> queries;
    for (const std::uint32_t window : _order) {
        if (!_connection.isOwn(window)) {
            queries.emplace_back(_connection, window);
        }
    }
    _windows.clear();
    for (const X11WindowQuery &query : queries) {
        std::optional<X11WindowFacts> facts = query.answer();
        if (facts && isOnCurrentWorkspace(*facts)) {
            _windows.push_back(std::move(*facts));
        }
    }
}

SurfaceVisibility X11WindowStack::visibilityOf(const DeviceRect &area) const {
    RemainingArea remaining(area);
    for (const X11WindowFacts &window : _windows) {
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
    for (const X11WindowFacts &other : _windows) {
        if (other.area.intersects(area) && std::find(_order.begin(), ours, other.window) != ours) {
            beneath.push_back(other.window);
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
    static constexpr X11Atom kNames[] = {
        X11Atom::NetWMState,         X11Atom::NetWMDesktop,    X11Atom::NetWMWindowType,
        X11Atom::NetWMWindowOpacity, X11Atom::NetFrameExtents, X11Atom::NetWMOpaqueRegion,
    };
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](X11Atom known) { return name == _connection.atom(known); });
}

/// False where there is no window manager that tells them, or only the words of one that has gone.
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

/// A window manager that is there has a window that says the same of itself.
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

/// A window that has gone is forgotten: its number may become another window's.
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

bool X11WindowStack::isOnCurrentWorkspace(const X11WindowFacts &facts) const {
    return !facts.workspace || !_currentWorkspace || *facts.workspace == *_currentWorkspace;
}

} // namespace Lumivera
