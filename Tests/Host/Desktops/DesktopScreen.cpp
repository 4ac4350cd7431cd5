#include "Tests/Host/Desktops/DesktopScreen.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

struct Free {
    void operator()(void *reply) const { std::free(reply); }
};

template <class Reply> std::unique_ptr<Reply, Free> owned(Reply *reply) {
    return std::unique_ptr<Reply, Free>(reply);
}

constexpr std::uint32_t kEscapeKeysym = 0xff1b;

/// Milliseconds that a person takes from pointing to pressing, and between presses.
constexpr std::uint32_t kAimingTime = 600;
constexpr std::uint32_t kClickGap = 60;

/// Smaller windows are helpers that nobody sees.
constexpr int kMinShownSide = 16;

} // namespace

DesktopScreen::DesktopScreen(const std::string &display)
    : _connection(xcb_connect(display.c_str(), nullptr)) {
    if (isConnected()) {
        _screen = xcb_setup_roots_iterator(xcb_get_setup(_connection)).data;
    }
}

DesktopScreen::~DesktopScreen() { xcb_disconnect(_connection); }

bool DesktopScreen::isConnected() const { return xcb_connection_has_error(_connection) == 0; }

DesktopScreen::Window DesktopScreen::root() const { return _screen->root; }

ScreenRect DesktopScreen::bounds() const {
    const auto geometry =
        owned(xcb_get_geometry_reply(_connection, xcb_get_geometry(_connection, root()), nullptr));
    return geometry ? ScreenRect{0, 0, geometry->width, geometry->height} : ScreenRect{};
}

ScreenRect DesktopScreen::workArea() {
    const auto area = values(root(), "_NET_WORKAREA");
    const ScreenRect all = bounds();
    if (area.size() < 4 || area[2] == 0 || area[3] == 0) {
        return all;
    }
    const int x = static_cast<int>(area[0]);
    const int y = static_cast<int>(area[1]);
    return {x, y, std::min(static_cast<int>(area[2]), all.width - x),
            std::min(static_cast<int>(area[3]), all.height - y)};
}

ScreenPicture DesktopScreen::picture() {
    const ScreenRect all = bounds();
    const auto reply =
        owned(xcb_get_image_reply(_connection,
                                  xcb_get_image(_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), 0,
                                                0, static_cast<std::uint16_t>(all.width),
                                                static_cast<std::uint16_t>(all.height), ~0U),
                                  nullptr));
    const auto count = static_cast<std::size_t>(all.width) * static_cast<std::size_t>(all.height);
    std::vector<std::uint32_t> pixels(count, 0xFF000000);
    if (reply && static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) >= 4 * count) {
        const auto *words =
            reinterpret_cast<const std::uint32_t *>(xcb_get_image_data(reply.get()));
        std::transform(words, words + count, pixels.begin(),
                       [](std::uint32_t word) { return word | 0xFF000000; });
    }
    return {all.width, all.height, std::move(pixels)};
}

void DesktopScreen::moveTo(const ScreenPoint &point) {
    fakeInput(XCB_MOTION_NOTIFY, 0, 0, point);
    flush();
}

void DesktopScreen::click(const ScreenPoint &point, int button) {
    const auto detail = static_cast<std::uint8_t>(button);
    fakeInput(XCB_MOTION_NOTIFY, 0, 0, point);
    fakeInput(XCB_BUTTON_PRESS, detail, kAimingTime);
    fakeInput(XCB_BUTTON_RELEASE, detail, kClickGap);
    flush();
}

void DesktopScreen::doubleClick(const ScreenPoint &point) {
    click(point);
    fakeInput(XCB_BUTTON_PRESS, 1, kClickGap);
    fakeInput(XCB_BUTTON_RELEASE, 1, kClickGap);
    flush();
}

void DesktopScreen::pressEscape() {
    const xcb_setup_t *setup = xcb_get_setup(_connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto mapping = owned(xcb_get_keyboard_mapping_reply(
        _connection, xcb_get_keyboard_mapping(_connection, setup->min_keycode, count), nullptr));
    if (!mapping) {
        return;
    }
    const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    for (int key = 0; key < count; ++key) {
        if (keysyms[key * mapping->keysyms_per_keycode] == kEscapeKeysym) {
            const auto code = static_cast<std::uint8_t>(setup->min_keycode + key);
            fakeInput(XCB_KEY_PRESS, code, 0);
            fakeInput(XCB_KEY_RELEASE, code, kClickGap);
        }
    }
    flush();
}

std::vector<DesktopScreen::Shown> DesktopScreen::shownWindows() {
    const auto tree =
        owned(xcb_query_tree_reply(_connection, xcb_query_tree(_connection, root()), nullptr));
    std::vector<Shown> shown;
    if (!tree) {
        return shown;
    }
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    for (int index = 0; index < xcb_query_tree_children_length(tree.get()); ++index) {
        const ScreenRect rect = rectOf(children[index]);
        if (rect.width >= kMinShownSide && rect.height >= kMinShownSide && rect.right() > 0 &&
            rect.bottom() > 0 && isShown(children[index])) {
            shown.push_back({children[index], rect});
        }
    }
    return shown;
}

bool DesktopScreen::isShown(Window window) {
    const auto reply = owned(xcb_get_window_attributes_reply(
        _connection, xcb_get_window_attributes(_connection, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE &&
           reply->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
}

std::vector<std::uint32_t> DesktopScreen::values(Window window, const std::string &property) {
    const auto reply =
        owned(xcb_get_property_reply(_connection,
                                     xcb_get_property(_connection, 0, window, atom(property),
                                                      XCB_GET_PROPERTY_TYPE_ANY, 0, 4096),
                                     nullptr));
    if (!reply || reply->format != 32) {
        return {};
    }
    const auto *words = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {words, words + reply->value_len};
}

std::uint32_t DesktopScreen::atom(const std::string &name) {
    const auto reply = owned(xcb_intern_atom_reply(
        _connection,
        xcb_intern_atom(_connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    return reply ? reply->atom : 0U;
}

bool DesktopScreen::supports(const std::string &name) {
    const auto supported = values(root(), "_NET_SUPPORTED");
    return std::find(supported.begin(), supported.end(), atom(name)) != supported.end();
}

void DesktopScreen::request(Window window, const std::string &name,
                            const std::vector<std::uint32_t> &data) {
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(name);
    std::copy_n(data.begin(), std::min<std::size_t>(data.size(), 5), event.data.data32);
    xcb_send_event(_connection, 0, root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    flush();
}

DesktopScreen::Window DesktopScreen::openWindow(const std::string &title, std::uint32_t colour,
                                                const ScreenRect &rect) {
    const Window window = xcb_generate_id(_connection);
    const std::array<std::uint32_t, 1> background{colour};
    xcb_create_window(_connection, XCB_COPY_FROM_PARENT, window, root(),
                      static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                      static_cast<std::uint16_t>(rect.width),
                      static_cast<std::uint16_t>(rect.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      _screen->root_visual, XCB_CW_BACK_PIXEL, background.data());
    setText(window, "WM_NAME", title);
    setText(window, "WM_CLASS", std::string("person\0Person\0", 14));
    const std::array<std::uint32_t, 1> type{atom("_NET_WM_WINDOW_TYPE_NORMAL")};
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_WINDOW_TYPE"),
                        XCB_ATOM_ATOM, 32, 1, type.data());
    // The position and the size are the person's: window managers do not choose others.
    std::array<std::uint32_t, 18> hints{};
    hints[0] = 1 | 2;
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints.data());
    xcb_map_window(_connection, window);
    flush();
    return window;
}

void DesktopScreen::closeWindow(Window window) {
    xcb_destroy_window(_connection, window);
    flush();
}

ScreenRect DesktopScreen::rectOf(Window window) {
    const auto geometry =
        owned(xcb_get_geometry_reply(_connection, xcb_get_geometry(_connection, window), nullptr));
    const auto origin = owned(xcb_translate_coordinates_reply(
        _connection, xcb_translate_coordinates(_connection, window, root(), 0, 0), nullptr));
    if (!geometry || !origin) {
        return {};
    }
    return {origin->dst_x, origin->dst_y, geometry->width, geometry->height};
}

void DesktopScreen::fakeInput(std::uint8_t type, std::uint8_t detail, std::uint32_t delay,
                              const ScreenPoint &point) {
    xcb_test_fake_input(_connection, type, detail, delay, root(),
                        static_cast<std::int16_t>(point.x), static_cast<std::int16_t>(point.y), 0);
}

/// Waits until the server has done everything, also what it does after a delay.
void DesktopScreen::flush() {
    owned(xcb_get_input_focus_reply(_connection, xcb_get_input_focus(_connection), nullptr));
}

void DesktopScreen::setText(Window window, const std::string &property, const std::string &text) {
    xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, window, atom(property), XCB_ATOM_STRING,
                        8, static_cast<std::uint32_t>(text.size()), text.data());
}
