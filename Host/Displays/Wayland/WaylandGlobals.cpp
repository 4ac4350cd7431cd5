#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandGlobals.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <type_traits>

namespace Lumivera {

WaylandGlobals::~WaylandGlobals() {
    const auto end = [](auto *object, auto destroy) {
        if (object) {
            destroy(object);
        }
    };
    end(outputManager, zxdg_output_manager_v1_destroy);
    end(fractionalScales, wp_fractional_scale_manager_v1_destroy);
    end(viewporter, wp_viewporter_destroy);
    if (layerShell && zwlr_layer_shell_v1_get_version(layerShell) >= 3) {
        zwlr_layer_shell_v1_destroy(layerShell);
    } else if (layerShell) {
        wl_proxy_destroy(reinterpret_cast<wl_proxy *>(layerShell));
    }
    end(shm, wl_shm_destroy);
    end(compositor, wl_compositor_destroy);
}

void WaylandGlobals::bind(wl_registry *registry, std::uint32_t number, std::string_view interface,
                          std::uint32_t version) {
    const auto take = [&](auto *&object, const wl_interface &wanted, std::uint32_t known) {
        if (!object && interface == wanted.name) {
            object = static_cast<std::remove_reference_t<decltype(object)>>(
                bindNewest(registry, number, wanted, version, known));
        }
    };
    take(compositor, wl_compositor_interface, 4);
    take(shm, wl_shm_interface, 1);
    take(layerShell, zwlr_layer_shell_v1_interface, 4);
    take(viewporter, wp_viewporter_interface, 1);
    take(fractionalScales, wp_fractional_scale_manager_v1_interface, 1);
    take(outputManager, zxdg_output_manager_v1_interface, 3);
}

void WaylandGlobals::checkNeeds() const {
    if (!compositor || !shm) {
        throw HostError("Wayland", "this compositor shows no pictures from memory",
                        "use another desktop");
    }
    if (!layerShell) {
        throw HostError("Wayland",
                        "this desktop has no layer shell (GNOME for one), so nothing can be shown "
                        "behind its windows",
                        "show the wallpaper in a window with `lumivera run`, or log in to X11");
    }
}

void *WaylandGlobals::bindNewest(wl_registry *registry, std::uint32_t number,
                                 const wl_interface &interface, std::uint32_t offered,
                                 std::uint32_t known) {
    return wl_registry_bind(registry, number, &interface, std::min(offered, known));
}

} // namespace Lumivera
