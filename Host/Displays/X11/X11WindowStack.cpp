#include "Host/Displays/X11/X11WindowStack.h"

#include <algorithm>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Words = std::vector<std::uint32_t>;

/// In pixels. A petal is not seen in a gap that is narrower than twice this, such as the gaps
/// between tiles.
constexpr int kHalfGap = 8;

/// A window has painted itself by then.
constexpr Clock::Nanoseconds kUntilLook = 2'000'000'000;
constexpr int kRowsLookedAt = 9;
constexpr std::size_t kMaxLevels = 8;

/// If there are more windows, only the topmost this many count.
constexpr std::ptrdiff_t kMaxWindows = 1024;

bool contains(const Words &words, std::uint32_t word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// The part of the root that the window manager gives to windows; the property has four words for
/// each workspace, or for all of them.
std::optional<DeviceRect> workAreaFrom(const Words &words, std::uint32_t workspace) {
    const std::size_t index = words.size() >= 4 * (std::size_t{workspace} + 1) ? workspace : 0;
    if (words.size() < 4) {
        return {};
    }
    const std::uint32_t *area = words.data() + 4 * index;
    return DeviceRect{x11Length(area[0]), x11Length(area[1]),
                      x11Length(area[0]) + x11Length(area[2]),
                      x11Length(area[1]) + x11Length(area[3])};
}

} // namespace

bool X11WindowStack::isChange(const X11Event &event) const {
    switch (event.type()) {
    case XCB_PROPERTY_NOTIFY: {
        const auto &property = event.as<xcb_property_notify_event_t>();
        return property.window == _connection.root()
                   ? isManagersProperty(property.atom)
                   : X11WindowQuery::asksFor(_connection, property.atom);
    }
    case XCB_CLIENT_MESSAGE:
        return event.as<xcb_client_message_event_t>().type == _connection.atom(X11Atom::Manager);
    case XCB_CONFIGURE_NOTIFY:
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
    readManager();
    readChildrenOfRoot();
    watch();
    readWindows();
    readIcons();
}

SurfaceVisibility X11WindowStack::visibilityOf(const DeviceRect &area,
                                               std::uint32_t surface) const {
    RemainingArea remaining(area);
    for (const X11Window &window : _windows) {
        if (window.kind == X11Window::Kind::Icons) {
            continue;
        }
        for (const DeviceRect &part : window.opaque) {
            if (window.isFullScreen && part.contains(area)) {
                return SurfaceVisibility::FullScreen;
            }
            remaining.remove(widened(part, kHalfGap));
        }
    }
    for (const X11IconWindow &icons : _scene.icons) {
        if (icons.isOpaque && !isIconsBeneath(icons, surface)) {
            remaining.remove(icons.area);
        }
    }
    for (const DeviceRect &part : reservedParts(area)) {
        remaining.remove(widened(part, kHalfGap));
    }
    return remaining.isEmpty() ? SurfaceVisibility::Covered : SurfaceVisibility::Visible;
}

/// Some shells draw their panels without windows: where no panel is, but a maximized window leaves
/// an edge free that the window manager reserves.
std::vector<DeviceRect> X11WindowStack::reservedParts(const DeviceRect &area) const {
    const auto isOn = [](const DeviceRect &part, X11Window::Kind kind, bool isMaximized) {
        return [=](const X11Window &window) {
            return window.kind == kind && window.isMaximized == isMaximized &&
                   window.area.intersects(part);
        };
    };
    std::vector<DeviceRect> parts;
    if (!_manager.workArea ||
        std::none_of(_windows.begin(), _windows.end(), isOn(area, X11Window::Kind::Normal, true))) {
        return parts;
    }
    addAround(parts, area, _manager.workArea->intersection(area));
    std::erase_if(parts, [&](const DeviceRect &part) {
        return std::any_of(_windows.begin(), _windows.end(),
                           isOn(part, X11Window::Kind::Panel, false));
    });
    return parts;
}

bool X11WindowStack::isIconsBeneath(const X11IconWindow &icons, std::uint32_t surface) const {
    for (const std::uint32_t child : _order) {
        if (child == icons.frame || child == surface) {
            return child == icons.frame;
        }
    }
    return false;
}

bool X11WindowStack::isInPlace(std::uint32_t surface, const X11Layer &layer,
                               const DeviceRect &area) const {
    const auto own = std::find(_order.begin(), _order.end(), surface);
    if (own == _order.end()) {
        return true;
    }
    if (_manager.isThere && !layer.isUnmanaged) {
        return std::all_of(_scene.icons.begin(), _scene.icons.end(), [&](const auto &icons) {
            return !icons.area.intersects(area) ||
                   isIconsBeneath(icons, surface) == (icons.frame == layer.beneath);
        });
    }
    const auto base = std::find(_order.begin(), _order.end(), layer.beneath);
    if (layer.beneath != 0 && base > own) {
        return base == _order.end();
    }
    const auto first = layer.beneath == 0 ? _order.begin() : base + 1;
    return !hasShownWindow({first, own}, area);
}

/// Whether one of these children of the root, other than ours, is shown on the area.
bool X11WindowStack::hasShownWindow(const std::vector<std::uint32_t> &children,
                                    const DeviceRect &area) const {
    std::vector<X11WindowQuery> queries;
    for (const std::uint32_t child : children) {
        if (!_connection.isOwn(child)) {
            queries.emplace_back(_connection, child, _root);
        }
    }
    bool isThere = false;
    for (const X11WindowQuery &query : queries) {
        const std::optional<X11Window> window = query.answer();
        isThere = isThere || (window && window->area.intersects(area));
    }
    return isThere;
}

/// Some window managers lay a window that only takes input beneath all others.
bool X11WindowStack::isDesktop(std::uint32_t child) const {
    if (child == XCB_WINDOW_NONE || child == _connection.root() || _connection.isOwn(child)) {
        return true;
    }
    if (std::any_of(_scene.icons.begin(), _scene.icons.end(),
                    [&](const X11IconWindow &icons) { return icons.frame == child; })) {
        return true;
    }
    xcb_connection_t *server = _connection.get();
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(server, xcb_get_window_attributes(server, child), nullptr));
    return attributes && attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY && _manager.isThere &&
           attributes->override_redirect != 0;
}

bool X11WindowStack::isManagersProperty(std::uint32_t name) const {
    for (const X11Atom atom :
         {X11Atom::NetClientListStacking, X11Atom::NetCurrentDesktop, X11Atom::NetSupportingWMCheck,
          X11Atom::NetWorkArea, X11Atom::NetShowingDesktop}) {
        if (name == _connection.atom(atom)) {
            return true;
        }
    }
    return false;
}

/// A window manager that has ended leaves its properties on the root; they are ignored.
void X11WindowStack::readManager() {
    const auto ask = [this](X11Atom name) {
        return _connection.askForProperty(_connection.root(), _connection.atom(name));
    };
    const unsigned check = ask(X11Atom::NetSupportingWMCheck);
    const unsigned list = ask(X11Atom::NetClientListStacking);
    const unsigned workspace = ask(X11Atom::NetCurrentDesktop);
    const unsigned workArea = ask(X11Atom::NetWorkArea);
    const unsigned showing = ask(X11Atom::NetShowingDesktop);
    const unsigned owner = _connection.askForOwner(X11Selection::CompositingManager);
    const auto words = [this](unsigned question) {
        return _connection.propertyWords(question).value_or(Words());
    };
    const Words checked = words(check);
    _manager = {};
    _manager.clients = words(list);
    if (const Words current = words(workspace); !current.empty()) {
        _manager.workspace = current[0];
    }
    _manager.workArea = workAreaFrom(words(workArea), _manager.workspace.value_or(0));
    const Words isShowing = words(showing);
    _manager.isShowingDesktop = !isShowing.empty() && isShowing[0] != 0;
    _blender = _connection.selectionOwner(owner);
    _scene.isBlended = _blender != 0;
    _scene.hasShapes = _connection.hasShapes();
    _scene.hasTransparentWindows = _connection.hasTransparentWindows();
    readManagersName(checked);
    if (!_manager.isThere) {
        _manager = {};
    }
}

/// The property on the root names a window. While the manager runs, that window names itself.
void X11WindowStack::readManagersName(const std::vector<std::uint32_t> &check) {
    _scene.manager.clear();
    _managersWindow = check.empty() ? 0 : check[0];
    if (check.empty()) {
        return;
    }
    const unsigned again =
        _connection.askForProperty(check[0], _connection.atom(X11Atom::NetSupportingWMCheck));
    const unsigned name =
        _connection.askForProperty(check[0], _connection.atom(X11Atom::NetWMName));
    _manager.isThere = _connection.propertyWords(again) == check;
    const std::string text = _connection.propertyBytes(name);
    if (_manager.isThere) {
        _scene.manager = text.empty() ? "unnamed" : text.substr(0, text.find('\0'));
    }
}

void X11WindowStack::readChildrenOfRoot() {
    _order.clear();
    xcb_connection_t *server = _connection.get();
    const auto tree = xcb_query_tree(server, _connection.root());
    const auto geometry = xcb_get_geometry(server, _connection.root());
    const X11Reply<xcb_query_tree_reply_t> reply(xcb_query_tree_reply(server, tree, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(server, geometry, nullptr));
    if (size) {
        _root = {0, 0, size->width, size->height};
    }
    if (reply) {
        const std::uint32_t *children = xcb_query_tree_children(reply.get());
        _order.assign(children, children + xcb_query_tree_children_length(reply.get()));
    }
}

/// The windows that may hide something, from bottom to top: those that the manager lists, and the
/// children of the root, which may be panels of the manager's own.
std::vector<std::uint32_t> X11WindowStack::candidates() const {
    std::vector<std::uint32_t> candidates = _order;
    candidates.insert(candidates.end(), _manager.clients.begin(), _manager.clients.end());
    std::set<std::uint32_t> known;
    std::erase_if(candidates, [&](std::uint32_t window) {
        return _connection.isOwn(window) || !known.insert(window).second;
    });
    if (std::ssize(candidates) > kMaxWindows) {
        candidates.erase(candidates.begin(), candidates.end() - kMaxWindows);
    }
    return candidates;
}

/// Of the windows that the manager does not list, panels alone count: the others are frames, menus
/// and the like.
void X11WindowStack::readWindows() {
    std::vector<X11WindowQuery> queries;
    for (const std::uint32_t window : candidates()) {
        queries.emplace_back(_connection, window, _root);
    }
    _windows.clear();
    for (const X11WindowQuery &query : queries) {
        std::optional<X11Window> window = query.answer();
        if (!window || !isOnCurrentWorkspace(*window)) {
            continue;
        }
        const bool isListed = !_manager.isThere || contains(_manager.clients, window->number);
        if (!isListed && window->kind == X11Window::Kind::Panel && window->opaque.empty()) {
            window->opaque = {window->area};
        }
        const bool isAway = _manager.isShowingDesktop && window->kind == X11Window::Kind::Normal;
        if ((isListed || window->kind != X11Window::Kind::Normal) && !isAway) {
            _windows.push_back(std::move(*window));
        }
    }
}

void X11WindowStack::readIcons() {
    _scene.icons.clear();
    std::map<std::uint32_t, Look> looks;
    for (const X11Window &window : _windows) {
        if (window.kind != X11Window::Kind::Icons) {
            continue;
        }
        const std::string program = programOf(window.number);
        if (program == X11Connection::kClass) {
            continue; // of another host
        }
        const bool isOpaque = looksOpaque(window);
        if (const auto look = _looks.find(window.number); look != _looks.end()) {
            looks.insert(*look);
        }
        _scene.icons.push_back(
            {window.number, frameOf(window.number), window.area, program, isOpaque});
    }
    _looks.swap(looks);
    std::stable_sort(_scene.icons.begin(), _scene.icons.end(),
                     [this](const auto &a, const auto &b) {
                         return std::find(_order.begin(), _order.end(), a.frame) <
                                std::find(_order.begin(), _order.end(), b.frame);
                     });
}

/// Programs that paint a background also do so in windows that could be transparent, so the pixels
/// decide.
bool X11WindowStack::looksOpaque(const X11Window &window) {
    if (!window.hasAlpha() || !_scene.isBlended) {
        return true;
    }
    const Clock::Nanoseconds now = Clock::current().now();
    Look &look = _looks.try_emplace(window.number, Look{true, now - kUntilLook}).first->second;
    if (now - look.time >= kUntilLook) {
        look = {hasOpaquePixels(window), now};
    }
    return look.isOpaque;
}

/// Looks at a few rows of the window's pixels.
bool X11WindowStack::hasOpaquePixels(const X11Window &window) const {
    const DeviceRect seen = window.area.intersection(_root);
    if (seen.isEmpty()) {
        return true;
    }
    xcb_connection_t *server = _connection.get();
    std::array<xcb_get_image_cookie_t, kRowsLookedAt> cookies;
    for (int row = 0; row < kRowsLookedAt; ++row) {
        const int y =
            seen.top - window.area.top + seen.height() * (2 * row + 1) / (2 * kRowsLookedAt);
        cookies[static_cast<std::size_t>(row)] = xcb_get_image(
            server, XCB_IMAGE_FORMAT_Z_PIXMAP, window.number,
            static_cast<std::int16_t>(seen.left - window.area.left), static_cast<std::int16_t>(y),
            static_cast<std::uint16_t>(seen.width()), 1, 0xffffffff);
    }
    std::size_t pixels = 0;
    std::size_t opaque = 0;
    const std::size_t alpha = _connection.isServerLittle() ? 3 : 0;
    for (const xcb_get_image_cookie_t cookie : cookies) {
        const X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(server, cookie, nullptr));
        const std::size_t count =
            reply ? static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) / 4 : 0;
        const std::uint8_t *bytes = count > 0 ? xcb_get_image_data(reply.get()) : nullptr;
        for (std::size_t i = 0; i < count; ++i) {
            opaque += bytes[4 * i + alpha] == 0xff ? 1 : 0;
        }
        pixels += count;
    }
    return 2 * opaque > pixels;
}

/// The child of the root that the window is, or lies in.
std::uint32_t X11WindowStack::frameOf(std::uint32_t window) const {
    xcb_connection_t *server = _connection.get();
    for (std::size_t level = 0; level < kMaxLevels; ++level) {
        const X11Reply<xcb_query_tree_reply_t> reply(
            xcb_query_tree_reply(server, xcb_query_tree(server, window), nullptr));
        if (!reply || reply->parent == reply->root || reply->parent == XCB_WINDOW_NONE) {
            break;
        }
        window = reply->parent;
    }
    return window;
}

/// The property has two texts that end with a zero: the instance, and the class.
std::string X11WindowStack::programOf(std::uint32_t window) const {
    const std::string texts =
        _connection.propertyBytes(_connection.askForProperty(window, XCB_ATOM_WM_CLASS));
    const std::size_t start = texts.find('\0');
    if (start == std::string::npos) {
        return texts;
    }
    return texts.substr(start + 1, texts.find('\0', start + 1) - start - 1);
}

/// Forgets windows that have gone, because their numbers may be given to new ones. The frames of
/// icons and the windows of the managers are watched as well, so that their ends are heard of.
void X11WindowStack::watch() {
    std::set<std::uint32_t> watched;
    for (const std::uint32_t window : candidates()) {
        watchAlso(window, watched);
    }
    watchAlso(_managersWindow, watched);
    watchAlso(_blender, watched);
    _watched.swap(watched);
}

void X11WindowStack::watchAlso(std::uint32_t window, std::set<std::uint32_t> &watched) {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    if (window != 0 && !_connection.isOwn(window)) {
        if (!_watched.contains(window)) {
            xcb_change_window_attributes(_connection.get(), window, XCB_CW_EVENT_MASK, &events);
        }
        watched.insert(window);
    }
}

bool X11WindowStack::isOnCurrentWorkspace(const X11Window &window) const {
    return !window.workspace || !_manager.workspace || *window.workspace == *_manager.workspace;
}

} // namespace Lumivera
