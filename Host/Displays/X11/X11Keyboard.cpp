#include "Host/Displays/X11/X11Keyboard.h"

#include <algorithm>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// Two columns, without and with the shift key, for each of the layouts that the user switches
/// between.
constexpr std::size_t kColumnsPerLayout = 2;
constexpr unsigned kLayoutShift = 13;
constexpr unsigned kLayoutMask = 3;

/// By the protocol's numbers of symbols.
constexpr struct {
    std::uint32_t symbol;
    DisplayKey meaning;
} kKeys[] = {
    {' ', DisplayKey::Pause},         {'+', DisplayKey::MorePetals},
    {'=', DisplayKey::MorePetals},    {0xffab, DisplayKey::MorePetals},  // on the number pad
    {'-', DisplayKey::FewerPetals},   {0xffad, DisplayKey::FewerPetals}, // on the number pad
    {0xff52, DisplayKey::Up},         {0xff54, DisplayKey::Down},
    {0xff51, DisplayKey::Left},       {0xff53, DisplayKey::Right},
    {0xff55, DisplayKey::PageUp},     {0xff56, DisplayKey::PageDown},
    {0xff50, DisplayKey::First},      {0xff57, DisplayKey::Last}, // home, end
    {0xff0d, DisplayKey::Use},        {0xff8d, DisplayKey::Use},  // both enter keys
    {'s', DisplayKey::Screenshot},    {'f', DisplayKey::FullScreen},
    {0xffc8, DisplayKey::FullScreen}, {'q', DisplayKey::Quit}, // F11
    {0xff1b, DisplayKey::Quit},                                // escape
};

std::optional<DisplayKey> meaningOfSymbol(std::uint32_t symbol) {
    const auto *known = std::find_if(std::begin(kKeys), std::end(kKeys),
                                     [&](const auto &key) { return key.symbol == symbol; });
    return known == std::end(kKeys) ? std::nullopt : std::optional(known->meaning);
}

} // namespace

X11Keyboard::X11Keyboard(X11Connection &connection) : _connection(connection) { readLayout(); }

std::optional<DisplayKey> X11Keyboard::eventArrived(const X11Event &event) {
    if (event.type() == XCB_MAPPING_NOTIFY) {
        readLayout();
    } else if (event.type() == XCB_KEY_RELEASE) {
        const auto &release = event.as<xcb_key_release_event_t>();
        _releasedCode = release.detail;
        _releaseTime = release.time;
    } else if (event.type() == XCB_KEY_PRESS) {
        const auto &press = event.as<xcb_key_press_event_t>();
        const auto meaning = meaningOf(press.detail, press.state);
        if (meaning && (asksWhileHeld(*meaning) || !isRepeated(press.detail, press.time))) {
            return meaning;
        }
    }
    return {};
}

void X11Keyboard::readLayout() {
    xcb_connection_t *server = _connection.get();
    const xcb_setup_t *setup = xcb_get_setup(server);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const X11Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        server,
        xcb_get_keyboard_mapping(server, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (reply) {
        const xcb_keysym_t *symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
        _symbols.assign(symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get()));
        _columns = reply->keysyms_per_keycode;
        _firstCode = setup->min_keycode;
    }
}

/// What the key types, then what it would without shift, then the same in the first layout: letters
/// are found on keyboards that write others too.
std::optional<DisplayKey> X11Keyboard::meaningOf(std::uint8_t code, std::uint16_t state) const {
    const std::size_t layout = (state >> kLayoutShift & kLayoutMask) * kColumnsPerLayout;
    const std::size_t shift = (state & XCB_MOD_MASK_SHIFT) != 0 ? 1 : 0;
    for (const std::size_t column : {layout + shift, layout, shift, std::size_t{0}}) {
        if (const auto meaning = meaningOfSymbol(symbol(code, column))) {
            return meaning;
        }
    }
    return {};
}

std::uint32_t X11Keyboard::symbol(std::uint8_t code, std::size_t column) const {
    const std::size_t at = static_cast<std::size_t>(code - _firstCode) * _columns + column;
    return code >= _firstCode && column < _columns && at < _symbols.size() ? _symbols[at] : 0;
}

/// A key that is held is let go and pressed again at the same moment, over and over. Keys that a
/// program presses have no time.
bool X11Keyboard::isRepeated(std::uint8_t code, std::uint32_t time) const {
    return time != 0 && code == _releasedCode && time == _releaseTime;
}

} // namespace Lumivera
