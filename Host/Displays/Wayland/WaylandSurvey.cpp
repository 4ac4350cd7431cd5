#include <wayland-client.h>

#include "Host/Displays/Wayland/WaylandSurvey.h"

#include "Host/Displays/Wayland/WaylandConnection.h"
#include "Host/Displays/Wayland/WaylandGlobals.h"
#include "Host/Displays/Wayland/WaylandOutput.h"

#include <cmath>
#include <memory>
#include <set>

namespace Lumivera {

namespace {

using Level = Finding::Level;

constexpr std::uint32_t kOutputVersion = 4;

/// Everything that the compositor offers.
class Offers {
  public:
    explicit Offers(WaylandConnection &connection)
        : _registry(wl_display_get_registry(connection.display())) {
        static constexpr wl_registry_listener kEvents{.global = added, .global_remove = removed};
        wl_registry_add_listener(_registry, &kEvents, this);
        connection.roundTrip();
        for (const auto &output : outputs) {
            if (_globals.outputManager) {
                output->describeBy(_globals.outputManager);
            }
        }
        connection.roundTrip();
    }
    ~Offers() {
        outputs.clear();
        wl_registry_destroy(_registry);
    }
    Offers(const Offers &) = delete;
    Offers &operator=(const Offers &) = delete;

    bool has(const char *interface) const { return _interfaces.count(interface) > 0; }

    std::vector<std::unique_ptr<WaylandOutput>> outputs;

  private:
    static void added(void *data, wl_registry *registry, std::uint32_t number,
                      const char *interface, std::uint32_t version) {
        auto &offers = *static_cast<Offers *>(data);
        offers._interfaces.insert(interface);
        if (std::string_view(interface) == wl_output_interface.name) {
            void *const output = WaylandGlobals::bindNewest(registry, number, wl_output_interface,
                                                            version, kOutputVersion);
            offers.outputs.push_back(
                std::make_unique<WaylandOutput>(static_cast<wl_output *>(output), number));
        } else {
            offers._globals.bind(registry, number, interface, version);
        }
    }
    static void removed(void *, wl_registry *, std::uint32_t) {}

    wl_registry *const _registry;
    WaylandGlobals _globals;
    std::set<std::string> _interfaces;
};

Finding layerShell(const Offers &offers) {
    if (offers.has("zwlr_layer_shell_v1")) {
        return {"layer shell", Level::Good, "can show the wallpaper behind the windows", ""};
    }
    return {"layer shell", Level::Bad,
            "is missing: this desktop lets no other program behind its windows",
            "use a desktop that has it (Sway, Hyprland, KDE, Phosh and others), or an X11 session"};
}

Finding scales(const Offers &offers) {
    if (offers.has("wp_fractional_scale_manager_v1") && offers.has("wp_viewporter")) {
        return {"fractional scale", Level::Good, "pictures are sharp at every scale", ""};
    }
    return {"fractional scale", Level::Lacking, "pictures are sharp at whole scales only",
            "use a newer compositor, or a whole scale"};
}

Finding covers(const Offers &offers) {
    if (offers.has("zwlr_foreign_toplevel_manager_v1")) {
        return {"foreign toplevels", Level::Good,
                "maximized and full-screen windows let the wallpaper rest", ""};
    }
    return {"foreign toplevels", Level::Lacking,
            "the wallpaper rests only when the compositor asks for no more pictures",
            "use a compositor that offers wlr-foreign-toplevel-management"};
}

} // namespace

DesktopSurvey surveyWayland() {
    DescriptorWaiter waiter;
    WaylandConnection connection(waiter);
    const Offers offers(connection);
    DesktopSurvey survey;
    survey.system = "Wayland";
    survey.findings = {layerShell(offers), scales(offers), covers(offers)};
    for (const auto &output : offers.outputs) {
        const CGFloat density = static_cast<CGFloat>(output->scale()) / WaylandOutput::kScaleParts;
        const WaylandSize size = output->size();
        survey.outputs.push_back(
            {output->name(), static_cast<unsigned>(std::lround(size.width * density)),
             static_cast<unsigned>(std::lround(size.height * density)), density});
    }
    return survey;
}

} // namespace Lumivera
