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

/// In pixels. A petal is not seen in a gap that is narrower than twice this, such as the gaps
/// between tiles.
constexpr int kHalfGap = 8;

/// A window has painted itself by then.
constexpr Clock::Nanoseconds kUntilLook = 2'000'000'000;
constexpr int kRowsLookedAt = 9;
constexpr std::size_t kMaxLevels = 8;

/// Other programs' lengths are cut to this, which no screen reaches, so that sums do not overflow.
constexpr std::uint32_t kMaxLength = 1 << 20;

/// If there are more windows, only the topmost this many count.
constexpr std::ptrdiff_t kMaxWindows = 1024;

/// The properties that decide what a window hides, in the order of Query::Property.
constexpr std::array kWindowProperties = {
    X11Atom::NetWMState,         X11Atom::NetWMDesktop,    X11Atom::NetWMWindowType,
    X11Atom::NetWMWindowOpacity, X11Atom::NetFrameExtents, X11Atom::NetWMOpaqueRegion,
    X11Atom::NetWMStrutPartial,  X11Atom::NetWMStrut,
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

/// The edges of the root that a panel reserves; `strut` has the widths at the left, right, top and
/// bottom and, for each, where it begins and ends.
std::vector<DeviceRect> edgesReserved(const Words &strut, const DeviceRect &root) {
    if (strut.size() < 4) {
        return {};
    }
    const auto end = [&strut](std::size_t index, int whole) {
        return strut.size() < 12 || strut[index] == 0 ? whole : length(strut[index]) + 1;
    };
    const auto start = [&strut](std::size_t index) {
        return strut.size() < 12 ? 0 : length(strut[index]);
    };
    return {{0, start(4), length(strut[0]), end(5, root.bottom)},
            {root.right - length(strut[1]), start(6), root.right, end(7, root.bottom)},
            {start(8), 0, end(9, root.right), length(strut[2])},
            {start(10), root.bottom - length(strut[3]), end(11, root.right), root.bottom}};
}

DeviceRect widened(const DeviceRect &rect, int by) {
    return {rect.left - by, rect.top - by, rect.right + by, rect.bottom + by};
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

/// The part of the root that the window manager gives to windows; the property has four words for
/// each workspace, or for all of them.
std::optional<DeviceRect> workAreaFrom(const Words &words, std::uint32_t workspace) {
    const std::size_t index = words.size() >= 4 * (std::size_t{workspace} + 1) ? workspace : 0;
    if (words.size() < 4) {
        return {};
    }
    const std::uint32_t *area = words.data() + 4 * index;
    return DeviceRect{length(area[0]), length(area[1]), length(area[0]) + length(area[2]),
                      length(area[1]) + length(area[3])};
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
    /// `root` is the area of the root.
    Query(X11Connection &connection, std::uint32_t window, const DeviceRect &root);

    /// Waits for the answers. Nothing for a window that has gone or is not shown. Call it once.
    std::optional<Window> answer() const;

  private:
    enum Property {
        States,
        Workspace,
        Types,
        Opacity,
        Frame,
        OpaqueRegion,
        StrutPartial,
        Strut,
        PropertyCount
    };
    using Properties = std::array<Words, PropertyCount>;

    bool readPlace(Window &window) const;
    bool isShaped() const;
    Kind kindOf(const Properties &words) const;
    std::vector<DeviceRect> opaqueParts(const Window &window, const Properties &words,
                                        bool hasShape) const;
    std::vector<DeviceRect> panelParts(const Window &window, const Properties &words) const;

    X11Connection &_connection;
    std::uint32_t _window;
    DeviceRect _root;
    unsigned _attributes = 0;
    unsigned _geometry = 0;
    unsigned _place = 0;
    unsigned _shape = 0;
    std::array<unsigned, PropertyCount> _properties{};
};

X11WindowStack::Query::Query(X11Connection &connection, std::uint32_t window,
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
std::optional<X11WindowStack::Window> X11WindowStack::Query::answer() const {
    Window window;
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
    if (window.kind == Kind::Panel) {
        const std::vector<DeviceRect> parts = panelParts(window, words);
        window.opaque.insert(window.opaque.end(), parts.begin(), parts.end());
    }
    return window;
}

bool X11WindowStack::Query::readPlace(Window &window) const {
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

bool X11WindowStack::Query::isShaped() const {
    if (!_connection.hasShapes()) {
        return false;
    }
    const X11Reply<xcb_shape_query_extents_reply_t> shape(
        xcb_shape_query_extents_reply(_connection.get(), {_shape}, nullptr));
    return shape && shape->bounding_shaped;
}

X11WindowStack::Kind X11WindowStack::Query::kindOf(const Properties &words) const {
    if (contains(words[Types], _connection.atom(X11Atom::NetWMWindowTypeDesktop))) {
        return Kind::Icons;
    }
    return contains(words[Types], _connection.atom(X11Atom::NetWMWindowTypeDock)) ? Kind::Panel
                                                                                  : Kind::Normal;
}

std::vector<DeviceRect> X11WindowStack::Query::opaqueParts(const Window &window,
                                                           const Properties &words,
                                                           bool hasShape) const {
    const bool isTranslucent = !words[Opacity].empty() && words[Opacity][0] != kOpaque;
    if (isTranslucent || hasShape) {
        return {};
    }
    if (window.depth == kDepthWithAlpha) {
        return partsWithin(window.area, words[OpaqueRegion]);
    }
    return {framed(window.area, words[Frame])};
}

/// A panel is part of the screen's edge, however much of it is transparent: where it has reserved
/// the edge, nobody looks for the wallpaper beneath it.
std::vector<DeviceRect> X11WindowStack::Query::panelParts(const Window &window,
                                                          const Properties &words) const {
    const Words &strut = words[words[StrutPartial].empty() ? Strut : StrutPartial];
    std::vector<DeviceRect> parts;
    for (const DeviceRect &edge : edgesReserved(strut, _root)) {
        addIfAny(parts, edge.intersection(window.area));
    }
    return parts;
}

bool X11WindowStack::isChange(const X11Event &event) const {
    switch (event.type()) {
    case XCB_PROPERTY_NOTIFY: {
        const auto &property = event.as<xcb_property_notify_event_t>();
        return property.window == _connection.root() ? isManagersProperty(property.atom)
                                                     : isWindowsProperty(property.atom);
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
    for (const Window &window : _windows) {
        if (window.kind == Kind::Icons) {
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
    const auto isOn = [](const DeviceRect &part, Kind kind, bool isMaximized) {
        return [=](const Window &window) {
            return window.kind == kind && window.isMaximized == isMaximized &&
                   window.area.intersects(part);
        };
    };
    std::vector<DeviceRect> parts;
    if (!_manager.workArea ||
        std::none_of(_windows.begin(), _windows.end(), isOn(area, Kind::Normal, true))) {
        return parts;
    }
    addAround(parts, area, _manager.workArea->intersection(area));
    std::erase_if(parts, [&](const DeviceRect &part) {
        return std::any_of(_windows.begin(), _windows.end(), isOn(part, Kind::Panel, false));
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
    std::vector<Query> queries;
    for (const std::uint32_t child : children) {
        if (!_connection.isOwn(child)) {
            queries.emplace_back(_connection, child, _root);
        }
    }
    bool isThere = false;
    for (const Query &query : queries) {
        const std::optional<Window> window = query.answer();
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

bool X11WindowStack::isWindowsProperty(std::uint32_t name) const {
    return std::any_of(kWindowProperties.begin(), kWindowProperties.end(),
                       [&](X11Atom known) { return name == _connection.atom(known); });
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
    std::vector<Query> queries;
    for (const std::uint32_t window : candidates()) {
        queries.emplace_back(_connection, window, _root);
    }
    _windows.clear();
    for (const Query &query : queries) {
        std::optional<Window> window = query.answer();
        if (!window || !isOnCurrentWorkspace(*window)) {
            continue;
        }
        const bool isListed = !_manager.isThere || contains(_manager.clients, window->number);
        if (!isListed && window->kind == Kind::Panel && window->opaque.empty()) {
            window->opaque = {window->area};
        }
        const bool isAway = _manager.isShowingDesktop && window->kind == Kind::Normal;
        if ((isListed || window->kind != Kind::Normal) && !isAway) {
            _windows.push_back(std::move(*window));
        }
    }
}

void X11WindowStack::readIcons() {
    _scene.icons.clear();
    std::map<std::uint32_t, Look> looks;
    for (const Window &window : _windows) {
        if (window.kind != Kind::Icons) {
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
bool X11WindowStack::looksOpaque(const Window &window) {
    if (window.depth != kDepthWithAlpha || !_scene.isBlended) {
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
bool X11WindowStack::hasOpaquePixels(const Window &window) const {
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

bool X11WindowStack::isOnCurrentWorkspace(const Window &window) const {
    return !window.workspace || !_manager.workspace || *window.workspace == *_manager.workspace;
}

} // namespace Lumivera
