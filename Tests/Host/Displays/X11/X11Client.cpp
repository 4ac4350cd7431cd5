#include "Tests/Host/Displays/X11/X11Client.h"

#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <xcb/xcb.h>

using namespace Lumivera;

namespace {

const xcb_screen_t &screenOf(xcb_connection_t *connection) {
    return *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

/// A visual of that depth whose pixels are words with red above green above blue.
std::uint32_t visualOf(const xcb_screen_t &screen, std::uint8_t depth) {
    if (depth == screen.root_depth) {
        return screen.root_visual;
    }
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0;
         xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
             xcb_visualtype_next(&visuals)) {
            if (depths.data->depth == depth &&
                visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR &&
                visuals.data->red_mask == 0xff0000) {
                return visuals.data->visual_id;
            }
        }
    }
    return 0;
}

/// The window that an event is about; 0 for kinds that no test asks for.
std::uint32_t windowOf(const X11Event &event) {
    switch (event.type()) {
    case XCB_BUTTON_PRESS:
        return event.as<xcb_button_press_event_t>().event;
    case XCB_CONFIGURE_NOTIFY:
        return event.as<xcb_configure_notify_event_t>().window;
    case XCB_CONFIGURE_REQUEST:
        return event.as<xcb_configure_request_event_t>().window;
    case XCB_MAP_REQUEST:
        return event.as<xcb_map_request_event_t>().window;
    default:
        return 0;
    }
}

} // namespace

X11Client::X11Client() : _connection(xcb_connect(nullptr, nullptr)) {
    EXPECT_EQ(xcb_connection_has_error(_connection), 0);
}

X11Client::~X11Client() { xcb_disconnect(_connection); }

std::uint32_t X11Client::root() const { return screenOf(_connection).root; }

std::uint32_t X11Client::atom(std::string_view name) {
    const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        _connection,
        xcb_intern_atom(_connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : 0;
}

std::uint32_t X11Client::create(const Options &options) {
    const std::uint32_t window = xcb_generate_id(_connection);
    const auto narrow = [](int number) { return static_cast<std::uint16_t>(number); };
    const auto left = static_cast<std::int16_t>(options.area.left);
    const auto top = static_cast<std::int16_t>(options.area.top);
    const std::uint32_t isUnmanaged = options.isUnmanaged ? 1 : 0;
    if (options.isInputOnly) {
        xcb_create_window(_connection, 0, window, root(), left, top, narrow(options.area.width()),
                          narrow(options.area.height()), 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0,
                          XCB_CW_OVERRIDE_REDIRECT, &isUnmanaged);
    } else {
        const std::uint32_t colors = xcb_generate_id(_connection);
        const std::uint32_t visual = visualOf(screenOf(_connection), options.depth);
        xcb_create_colormap(_connection, XCB_COLORMAP_ALLOC_NONE, colors, root(), visual);
        const std::uint32_t values[] = {options.color, 0, isUnmanaged, XCB_EVENT_MASK_BUTTON_PRESS,
                                        colors};
        xcb_create_window(_connection, options.depth, window, root(), left, top,
                          narrow(options.area.width()), narrow(options.area.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                              XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                          values);
    }
    using namespace std::string_view_literals;
    setText(window, "WM_CLASS", "files\0Files\0"sv);
    // As the user's own choice, which window managers keep to.
    const std::uint32_t hints[18] = {1, static_cast<std::uint32_t>(options.area.left),
                                     static_cast<std::uint32_t>(options.area.top)};
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
    if (!options.type.empty()) {
        setAtoms(window, "_NET_WM_WINDOW_TYPE", {"_NET_WM_WINDOW_TYPE_" + options.type});
        set(window, "_NET_WM_DESKTOP", {0xffffffff});
    }
    return window;
}

std::uint32_t X11Client::open(const Options &options) {
    const std::uint32_t window = create(options);
    show(window);
    return window;
}

void X11Client::show(std::uint32_t window) {
    xcb_map_window(_connection, window);
    EXPECT_TRUE(eventually([&] { return isShown(window); }));
}

void X11Client::close(std::uint32_t window) {
    xcb_destroy_window(_connection, window);
    xcb_flush(_connection);
}

void X11Client::raise(std::uint32_t window) { configure(window, XCB_STACK_MODE_ABOVE); }

void X11Client::lower(std::uint32_t window) { configure(window, XCB_STACK_MODE_BELOW); }

void X11Client::configure(std::uint32_t window, std::uint32_t mode) {
    xcb_configure_window(_connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    xcb_flush(_connection);
}

void X11Client::set(std::uint32_t window, std::string_view property,
                    const std::vector<std::uint32_t> &numbers) {
    if (numbers.empty()) {
        xcb_delete_property(_connection, window, atom(property));
    } else {
        xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, atom(property),
                            XCB_ATOM_CARDINAL, 32, static_cast<std::uint32_t>(numbers.size()),
                            numbers.data());
    }
    xcb_flush(_connection);
}

void X11Client::setAtoms(std::uint32_t window, std::string_view property,
                         const std::vector<std::string_view> &names) {
    std::vector<std::uint32_t> atoms;
    for (const std::string_view name : names) {
        atoms.push_back(atom(name));
    }
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, atom(property), XCB_ATOM_ATOM,
                        32, static_cast<std::uint32_t>(atoms.size()), atoms.data());
    xcb_flush(_connection);
}

void X11Client::setText(std::uint32_t window, std::string_view property, std::string_view text) {
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, atom(property), XCB_ATOM_STRING,
                        8, static_cast<std::uint32_t>(text.size()), text.data());
    xcb_flush(_connection);
}

void X11Client::pretendToManage(std::string_view name, const std::vector<std::uint32_t> &windows) {
    const std::uint32_t sign = create({.area = {-10, -10, -9, -9}, .isUnmanaged = true});
    set(sign, "_NET_SUPPORTING_WM_CHECK", {sign});
    setText(sign, "_NET_WM_NAME", name);
    set(root(), "_NET_CLIENT_LIST_STACKING", windows);
    set(root(), "_NET_SUPPORTING_WM_CHECK", {sign});
}

void X11Client::refuseWishes() {
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT;
    xcb_change_window_attributes(_connection, root(), XCB_CW_EVENT_MASK, &events);
    xcb_flush(_connection);
}

void X11Client::watchRoot() {
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(_connection, root(), XCB_CW_EVENT_MASK, &events);
    xcb_flush(_connection);
}

void X11Client::takeSelection(std::string_view name, std::uint32_t window) {
    xcb_set_selection_owner(_connection, window, atom(name), XCB_CURRENT_TIME);
    tellRoot("MANAGER", {XCB_CURRENT_TIME, atom(name), window}, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

void X11Client::showDesktop(bool isShown) {
    tellRoot("_NET_SHOWING_DESKTOP", {isShown ? 1U : 0U},
             XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
}

void X11Client::tellRoot(std::string_view type, const std::array<std::uint32_t, 3> &numbers,
                         std::uint32_t eventMask) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = root();
    message.type = atom(type);
    std::copy(numbers.begin(), numbers.end(), message.data.data32);
    xcb_send_event(_connection, 0, root(), eventMask, reinterpret_cast<const char *>(&message));
    xcb_flush(_connection);
}

bool X11Client::hasOwner(std::string_view selection) {
    const X11Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        _connection, xcb_get_selection_owner(_connection, atom(selection)), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void X11Client::hear() {
    while (const X11Reply<xcb_generic_event_t> bytes{xcb_poll_for_event(_connection)}) {
        const X11Event event(bytes.get());
        _heard.push_back({event.type(), windowOf(event)});
        if (event.type() == XCB_MAP_REQUEST) {
            xcb_map_window(_connection, windowOf(event));
        }
    }
    xcb_flush(_connection);
}

int X11Client::count(std::uint8_t type, std::uint32_t window) {
    hear();
    return static_cast<int>(std::count_if(_heard.begin(), _heard.end(), [&](const Heard &heard) {
        return heard.type == type && heard.window == window;
    }));
}

bool X11Client::isShown(std::uint32_t window, bool isVisible) {
    const X11Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
        _connection, xcb_get_window_attributes(_connection, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE &&
           (!isVisible || reply->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT);
}

std::vector<std::uint32_t> X11Client::shownChildren() {
    const X11Reply<xcb_query_tree_reply_t> reply(
        xcb_query_tree_reply(_connection, xcb_query_tree(_connection, root()), nullptr));
    std::vector<std::uint32_t> result;
    if (reply) {
        const std::uint32_t *children = xcb_query_tree_children(reply.get());
        std::copy_if(children, children + xcb_query_tree_children_length(reply.get()),
                     std::back_inserter(result),
                     [this](std::uint32_t window) { return isShown(window, true); });
    }
    return result;
}

std::uint32_t X11Client::frameOf(std::uint32_t window) {
    const X11Reply<xcb_query_tree_reply_t> reply(
        xcb_query_tree_reply(_connection, xcb_query_tree(_connection, window), nullptr));
    return !reply || reply->parent == reply->root || reply->parent == 0 ? window
                                                                        : frameOf(reply->parent);
}

std::string X11Client::classOf(std::uint32_t window) {
    const X11Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        _connection,
        xcb_get_property(_connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
        nullptr));
    return reply ? std::string(static_cast<const char *>(xcb_get_property_value(reply.get())),
                               static_cast<std::size_t>(xcb_get_property_value_length(reply.get())))
                 : std::string();
}

std::vector<std::uint32_t> X11Client::lumiverasWindows() {
    std::vector<std::uint32_t> windows = shownChildren();
    std::erase_if(windows, [this](std::uint32_t window) {
        return classOf(window).find(X11Connection::kClass) == std::string::npos;
    });
    return windows;
}

bool X11Client::isLumiveraDirectlyAbove(std::uint32_t window) {
    const std::vector<std::uint32_t> ours = lumiverasWindows();
    const std::vector<std::uint32_t> order = shownChildren();
    const auto beneath = std::find(order.begin(), order.end(), frameOf(window));
    return ours.size() == 1 && order.end() - beneath > 1 && beneath[1] == ours[0];
}

bool X11Client::isLumiveraLowest() {
    const std::vector<std::uint32_t> ours = lumiverasWindows();
    const std::vector<std::uint32_t> order = shownChildren();
    return ours.size() == 1 && order[0] == ours[0];
}

std::uint32_t X11Client::pixel(int x, int y) {
    const X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        _connection,
        xcb_get_image(_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), 1, 1, ~0U),
        nullptr));
    if (!reply || xcb_get_image_data_length(reply.get()) < 4) {
        return 0;
    }
    const std::uint8_t *bytes = xcb_get_image_data(reply.get());
    return 0xff000000U | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[0];
}
