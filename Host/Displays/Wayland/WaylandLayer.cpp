#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandLayer.h"

#include "Host/Displays/Wayland/WaylandConnection.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Lumivera {

namespace {

constexpr std::uint32_t kAllEdges =
    ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
    ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT;
constexpr int kBelowPanels = -1;
constexpr int kBesidePanels = 0;

int lengthFrom(std::uint32_t length) {
    return static_cast<int>(std::min<std::uint32_t>(length, INT32_MAX));
}

} // namespace

struct WaylandLayer::Events {
    static void configure(void *data, zwlr_layer_surface_v1 *, std::uint32_t serial,
                          std::uint32_t width, std::uint32_t height) {
        auto &self = *static_cast<WaylandLayer *>(data);
        self._unacknowledged = serial;
        self._size = {lengthFrom(width), lengthFrom(height)};
        self._isConfigured = true;
    }

    static void closed(void *data, zwlr_layer_surface_v1 *) {
        static_cast<WaylandLayer *>(data)->_isClosed = true;
    }

    static void preferredScale(void *data, wp_fractional_scale_v1 *, std::uint32_t scale) {
        static_cast<WaylandLayer *>(data)->_scale = static_cast<int>(std::clamp<std::uint32_t>(
            scale, 1, WaylandOutput::kMaxScale * WaylandOutput::kScaleParts));
    }

    static void frame(void *data, wl_callback *, std::uint32_t) {
        static_cast<WaylandLayer *>(data)->endFrame();
    }

    static constexpr zwlr_layer_surface_v1_listener kLayer{.configure = configure,
                                                           .closed = closed};
    static constexpr wp_fractional_scale_v1_listener kScale{.preferred_scale = preferredScale};
    static constexpr wl_callback_listener kFrame{.done = frame};
};

WaylandLayer::WaylandLayer(const WaylandGlobals &globals, wl_output *output, WaylandLevel level,
                           void *owner)
    : _surface(wl_compositor_create_surface(globals.compositor)) {
    wl_surface_set_user_data(_surface, owner);
    if (globals.viewporter) {
        _viewport = wp_viewporter_get_viewport(globals.viewporter, _surface);
    }
    if (_viewport && globals.fractionalScales) {
        _fractionalScale =
            wp_fractional_scale_manager_v1_get_fractional_scale(globals.fractionalScales, _surface);
        wp_fractional_scale_v1_add_listener(_fractionalScale, &Events::kScale, this);
    }
    makeRegion(globals);
    const bool isBottom = level == WaylandLevel::Bottom;
    _layerSurface = zwlr_layer_shell_v1_get_layer_surface(
        globals.layerShell, _surface, output,
        isBottom ? ZWLR_LAYER_SHELL_V1_LAYER_BOTTOM : ZWLR_LAYER_SHELL_V1_LAYER_BACKGROUND,
        "wallpaper");
    zwlr_layer_surface_v1_add_listener(_layerSurface, &Events::kLayer, this);
    zwlr_layer_surface_v1_set_size(_layerSurface, 0, 0);
    zwlr_layer_surface_v1_set_anchor(_layerSurface, kAllEdges);
    zwlr_layer_surface_v1_set_exclusive_zone(_layerSurface,
                                             isBottom ? kBesidePanels : kBelowPanels);
    wl_surface_commit(_surface);
}

WaylandLayer::~WaylandLayer() {
    endFrame();
    if (_fractionalScale) {
        wp_fractional_scale_v1_destroy(_fractionalScale);
    }
    if (_viewport) {
        wp_viewport_destroy(_viewport);
    }
    zwlr_layer_surface_v1_destroy(_layerSurface);
    wl_surface_destroy(_surface);
}

void WaylandLayer::acknowledge() {
    if (_unacknowledged) {
        zwlr_layer_surface_v1_ack_configure(_layerSurface, *_unacknowledged);
        _unacknowledged.reset();
    }
}

void WaylandLayer::show(wl_buffer *buffer, const std::vector<DeviceRect> &damage, WaylandSize size,
                        int wholeScale) {
    if (_viewport) {
        wp_viewport_set_destination(_viewport, size.width, size.height);
    } else if (wl_surface_get_version(_surface) >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION) {
        wl_surface_set_buffer_scale(_surface, wholeScale);
    }
    wl_surface_attach(_surface, buffer, 0, 0);
    addDamage(damage);
    awaitFrame();
    wl_surface_commit(_surface);
}

void WaylandLayer::askForFrame() {
    awaitFrame();
    wl_surface_commit(_surface);
}

/// The opaque region keeps the compositor from drawing what lies behind.
void WaylandLayer::makeRegion(const WaylandGlobals &globals) {
    wl_region *const everything = wl_compositor_create_region(globals.compositor);
    wl_region_add(everything, 0, 0, INT32_MAX, INT32_MAX);
    wl_surface_set_opaque_region(_surface, everything);
    wl_region_destroy(everything);
}

/// Before version 4, damage is in points, which cannot describe pixels, so the whole surface is
/// damaged.
void WaylandLayer::addDamage(const std::vector<DeviceRect> &damage) {
    if (wl_surface_get_version(_surface) < WL_SURFACE_DAMAGE_BUFFER_SINCE_VERSION) {
        wl_surface_damage(_surface, 0, 0, INT32_MAX, INT32_MAX);
        return;
    }
    for (const DeviceRect &rect : damage) {
        wl_surface_damage_buffer(_surface, rect.left, rect.top, rect.width(), rect.height());
    }
}

void WaylandLayer::awaitFrame() {
    endFrame();
    _frame = wl_surface_frame(_surface);
    wl_callback_add_listener(_frame, &Events::kFrame, this);
}

void WaylandLayer::endFrame() {
    if (_frame) {
        wl_callback_destroy(std::exchange(_frame, nullptr));
    }
}

} // namespace Lumivera
