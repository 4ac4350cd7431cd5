#pragma once

#include <cstdint>
#include <string_view>

struct wl_compositor;
struct wl_interface;
struct wl_registry;
struct wl_shm;
struct wp_fractional_scale_manager_v1;
struct wp_viewporter;
struct zwlr_layer_shell_v1;
struct zxdg_output_manager_v1;

namespace Lumivera {

/// What a compositor offers once for everybody; null what it does not offer. Main thread.
class WaylandGlobals final {
  public:
    WaylandGlobals() = default;
    ~WaylandGlobals();

    WaylandGlobals(const WaylandGlobals &) = delete;
    WaylandGlobals &operator=(const WaylandGlobals &) = delete;

    /// Takes what the registry offers under that number, if it is one of these.
    void bind(wl_registry *registry, std::uint32_t number, std::string_view interface,
              std::uint32_t version);

    /// A HostError when something is missing without which no wallpaper can be shown.
    void checkNeeds() const;

    /// Takes a global in the newest version that both sides know.
    static void *bindNewest(wl_registry *registry, std::uint32_t number,
                            const wl_interface &interface, std::uint32_t offered,
                            std::uint32_t known);

    wl_compositor *compositor = nullptr;
    wl_shm *shm = nullptr;
    zwlr_layer_shell_v1 *layerShell = nullptr;
    wp_viewporter *viewporter = nullptr;
    wp_fractional_scale_manager_v1 *fractionalScales = nullptr;
    zxdg_output_manager_v1 *outputManager = nullptr;
};

} // namespace Lumivera
