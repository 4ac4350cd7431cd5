#include "Host/Displays/X11/X11Density.h"

#include "Host/Displays/X11/X11Connection.h"

#include <algorithm>
#include <charconv>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

constexpr std::uint32_t kMostWords = 64 * 1024;
constexpr std::string_view kName = "Xft.dpi:";
constexpr double kUsualDotsPerInch = 96;
constexpr CGFloat kSmallest = 0.1;
constexpr CGFloat kLargest = 10;

} // namespace

std::optional<CGFloat> readX11Density(X11Connection &connection) {
    const X11Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection.get(),
        xcb_get_property(connection.get(), 0, connection.root(), XCB_ATOM_RESOURCE_MANAGER,
                         XCB_ATOM_STRING, 0, kMostWords),
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
        if (line.starts_with(kName)) {
            line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t", kName.size())));
            double dotsPerInch = 0;
            std::from_chars(line.data(), line.data() + line.size(), dotsPerInch);
            const CGFloat density = dotsPerInch / kUsualDotsPerInch;
            return density >= kSmallest && density <= kLargest ? std::optional(density)
                                                               : std::nullopt;
        }
    }
    return {};
}

} // namespace Lumivera
