#include "Host/Displays/X11/X11Outputs.h"

#include <algorithm>
#include <charconv>
#include <xcb/randr.h>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr std::string_view kDensityName = "Xft.dpi:";
constexpr double kUsualDotsPerInch = 96;
constexpr CGFloat kMinDensity = 0.1;
constexpr CGFloat kMaxDensity = 10;

/// Settings have the resolution in 1024ths of a dot an inch.
constexpr double kXSettingsDPI = 1024;

std::optional<CGFloat> sensible(double density) {
    return density >= kMinDensity && density <= kMaxDensity ? std::optional<CGFloat>(density)
                                                            : std::nullopt;
}

/// Reads the settings one by one, and ends where the bytes are damaged.
class XSettingsReader {
  public:
    struct Setting {
        std::string_view name;

        /// Empty for texts and colours.
        std::optional<std::int32_t> number;
    };

    explicit XSettingsReader(std::string_view bytes) : _bytes(bytes) {
        const std::uint32_t order = word(1).value_or(0);
        _isBigEndian = order == 1;
        _isWhole = _isWhole && order <= 1;
        skip(3 + 4);
        _count = word(4).value_or(0);
    }

    std::optional<Setting> next() {
        enum Type : std::uint32_t { Number, Text, Color };
        if (_count == 0 || !_isWhole) {
            return {};
        }
        --_count;
        const auto type = word(1);
        skip(1);
        const auto length = word(2);
        Setting setting{text(length.value_or(0)), {}};
        skip(4); // a serial number
        if (type == Number) {
            if (const auto number = word(4)) {
                setting.number = static_cast<std::int32_t>(*number);
            }
        } else if (type == Text) {
            text(word(4).value_or(0));
        } else if (type == Color) {
            skip(4 * 2);
        } else {
            _isWhole = false; // nobody knows its length
        }
        return _isWhole ? std::optional(setting) : std::nullopt;
    }

    /// Whether every setting was there and made sense so far.
    bool isWhole() const { return _isWhole; }

  private:
    void skip(std::size_t count) {
        _isWhole = _isWhole && count <= _bytes.size();
        _bytes.remove_prefix(std::min(count, _bytes.size()));
    }

    std::optional<std::uint32_t> word(std::size_t count) {
        if (count > _bytes.size()) {
            _isWhole = false;
            return {};
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t place = _isBigEndian ? i : count - 1 - i;
            value = value << 8 | static_cast<std::uint8_t>(_bytes[place]);
        }
        skip(count);
        return value;
    }

    /// With its padding to a multiple of 4 bytes.
    std::string_view text(std::size_t length) {
        const std::string_view result = _bytes.substr(0, length);
        skip((length + 3) / 4 * 4);
        return result;
    }

    std::string_view _bytes;
    std::uint32_t _count = 0;
    bool _isBigEndian = false;
    bool _isWhole = true;
};

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

X11Density readX11Density(X11Connection &connection) {
    const unsigned resources =
        connection.askForProperty(connection.root(), XCB_ATOM_RESOURCE_MANAGER);
    const std::uint32_t window =
        connection.selectionOwner(connection.askForOwner(X11Selection::Settings));
    X11Density result;
    result.settingsWindow = window;
    if (window != XCB_WINDOW_NONE) {
        const std::uint32_t events =
            XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection.get(), window, XCB_CW_EVENT_MASK, &events);
        const unsigned settings =
            connection.askForProperty(window, connection.atom(X11Atom::XSettingsSettings));
        result.density = densityFromXSettings(connection.propertyBytes(settings));
    }
    const auto ofResources = densityFromX11Resources(connection.propertyBytes(resources));
    result.density = result.density ? result.density : ofResources;
    return result;
}

std::optional<CGFloat> densityFromX11Resources(std::string_view resources) {
    while (!resources.empty()) {
        std::string_view line = resources.substr(0, resources.find('\n'));
        resources.remove_prefix(std::min(resources.size(), line.size() + 1));
        if (line.starts_with(kDensityName)) {
            line.remove_prefix(
                std::min(line.size(), line.find_first_not_of(" \t", kDensityName.size())));
            double dotsPerInch = 0;
            std::from_chars(line.data(), line.data() + line.size(), dotsPerInch);
            return sensible(dotsPerInch / kUsualDotsPerInch);
        }
    }
    return {};
}

/// The property has the order of its bytes, three unused bytes, a serial number, the number of
/// settings, and the settings.
std::optional<CGFloat> densityFromXSettings(std::string_view settings) {
    XSettingsReader reader(settings);
    std::optional<std::int32_t> factor;
    std::optional<std::int32_t> unscaled;
    std::optional<std::int32_t> scaled;
    while (const auto setting = reader.next()) {
        if (setting->name == "Gdk/WindowScalingFactor") {
            factor = setting->number;
        } else if (setting->name == "Gdk/UnscaledDPI") {
            unscaled = setting->number;
        } else if (setting->name == "Xft/DPI") {
            scaled = setting->number;
        }
    }
    if (!reader.isWhole()) {
        return {};
    }
    const auto inPoints = [](std::int32_t dpi) { return dpi / kXSettingsDPI / kUsualDotsPerInch; };
    if (unscaled && *unscaled > 0) {
        return sensible(inPoints(*unscaled) * factor.value_or(1));
    }
    if (scaled && *scaled > 0) {
        return sensible(inPoints(*scaled));
    }
    return factor ? sensible(*factor) : std::nullopt;
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
