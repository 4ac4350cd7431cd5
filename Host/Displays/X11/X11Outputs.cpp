#include "Host/Displays/X11/X11Outputs.h"

#include "Host/Displays/X11/X11Connection.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

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

} // namespace Lumivera
