#include "Host/Displays/X11/X11Outputs.h"

#include <algorithm>
#include <charconv>
#include <xcb/randr.h>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr std::uint32_t kMaxSettingsWords = 64 * 1024;
constexpr std::string_view kDensityName = "Xft.dpi:";
constexpr double kUsualDotsPerInch = 96;
constexpr CGFloat kMinDensity = 0.1;
constexpr CGFloat kMaxDensity = 10;

DeviceRect areaOf(const xcb_randr_monitor_info_t &monitor) {
    return {monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height};
}

std::string nameFrom(const xcb_get_atom_name_reply_t *reply) {
    return reply ? std::string(xcb_get_atom_name_name(reply),
                               static_cast<std::size_t>(xcb_get_atom_name_name_length(reply)))
                 : std::string();
}

std::vector<X11Output> readMonitors(xcb_connection_t *connection, std::uint32_t root) {
    const X11Reply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
        connection, xcb_randr_get_monitors(connection, root, 1), nullptr));
    std::vector<X11Output> outputs;
    if (!reply) {
        return outputs;
    }
    std::vector<xcb_get_atom_name_cookie_t> names;
    for (auto monitors = xcb_randr_get_monitors_monitors_iterator(reply.get()); monitors.rem > 0;
         xcb_randr_monitor_info_next(&monitors)) {
        outputs.push_back({{}, areaOf(*monitors.data)});
        names.push_back(xcb_get_atom_name(connection, monitors.data->name));
    }
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const X11Reply<xcb_get_atom_name_reply_t> name(
            xcb_get_atom_name_reply(connection, names[i], nullptr));
        outputs[i].name = nameFrom(name.get());
    }
    return outputs;
}

/// Only the blanked kind hides the wallpaper. The other kinds draw something, maybe in a window of
/// no size: some programs have a saver only to hear when the user is idle.
bool blanks(std::uint8_t state, std::uint8_t kind) {
    return (state == XCB_SCREENSAVER_STATE_ON || state == XCB_SCREENSAVER_STATE_CYCLE) &&
           kind == XCB_SCREENSAVER_KIND_BLANKED;
}

} // namespace

std::vector<X11Output> readX11Outputs(X11Connection &connection) {
    if (!connection.hasMonitors()) {
        return {{"default", connection.rootArea()}};
    }
    return withoutMirrors(readMonitors(connection.get(), connection.root()));
}

std::vector<X11Output> withoutMirrors(const std::vector<X11Output> &outputs) {
    std::vector<X11Output> result;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        bool isShownElsewhere = outputs[i].area.isEmpty();
        for (std::size_t j = 0; j < outputs.size() && !isShownElsewhere; ++j) {
            const bool isSame = outputs[i].area == outputs[j].area;
            isShownElsewhere =
                i != j && outputs[j].area.contains(outputs[i].area) && (!isSame || j < i);
        }
        if (!isShownElsewhere) {
            result.push_back(outputs[i]);
        }
    }
    return result;
}

std::optional<CGFloat> readX11Density(X11Connection &connection) {
    const X11Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection.get(),
        xcb_get_property(connection.get(), 0, connection.root(), XCB_ATOM_RESOURCE_MANAGER,
                         XCB_ATOM_STRING, 0, kMaxSettingsWords),
        nullptr));
    if (!reply || reply->format != 8) {
        return {};
    }
    return densityFromX11Settings(
        {static_cast<const char *>(xcb_get_property_value(reply.get())),
         static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))});
}

std::optional<CGFloat> densityFromX11Settings(std::string_view settings) {
    while (!settings.empty()) {
        std::string_view line = settings.substr(0, settings.find('\n'));
        settings.remove_prefix(std::min(settings.size(), line.size() + 1));
        if (line.starts_with(kDensityName)) {
            line.remove_prefix(
                std::min(line.size(), line.find_first_not_of(" \t", kDensityName.size())));
            double dotsPerInch = 0;
            std::from_chars(line.data(), line.data() + line.size(), dotsPerInch);
            const CGFloat density = dotsPerInch / kUsualDotsPerInch;
            return density >= kMinDensity && density <= kMaxDensity ? std::optional(density)
                                                                    : std::nullopt;
        }
    }
    return {};
}

X11ScreenSaver::X11ScreenSaver(X11Connection &connection) : _connection(connection) {
    if (!_connection.hasScreenSaver()) {
        return;
    }
    xcb_connection_t *server = _connection.get();
    xcb_screensaver_select_input(server, _connection.root(), XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
    const X11Reply<xcb_screensaver_query_info_reply_t> reply(xcb_screensaver_query_info_reply(
        server, xcb_screensaver_query_info(server, _connection.root()), nullptr));
    _isBlank = reply && blanks(reply->state, reply->kind);
}

void X11ScreenSaver::eventArrived(const X11Event &event) {
    if (_connection.isScreenSaverChange(event)) {
        const auto &notice = event.as<xcb_screensaver_notify_event_t>();
        _isBlank = blanks(notice.state, notice.kind);
    }
}

} // namespace Lumivera
