#pragma once

#include "Host/Displays/Wayland/WaylandOutput.h"
#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>
#include <optional>
#include <vector>

struct wl_buffer;
struct wl_callback;
struct wl_surface;
struct wp_fractional_scale_v1;
struct wp_viewport;
struct zwlr_layer_surface_v1;

namespace Lumivera {

class WaylandGlobals;

/// A surface in the background layer that wants the whole of an output. It lives until the
/// compositor closes it. Main thread.
class WaylandLayer final {
  public:
    /// The surface's user data is `owner`. With `clickThrough` it takes no input.
    WaylandLayer(const WaylandGlobals &globals, wl_output *output, bool clickThrough, void *owner);
    ~WaylandLayer();

    WaylandLayer(const WaylandLayer &) = delete;
    WaylandLayer &operator=(const WaylandLayer &) = delete;

    wl_surface *handle() const { return _surface; }

    /// True once the compositor lets it show pictures.
    bool isConfigured() const { return _isConfigured; }

    /// True when the compositor wants it gone.
    bool isClosed() const { return _isClosed; }

    /// In points, as it was last configured; a side of 0 leaves the choice to us.
    WaylandSize size() const { return _size; }

    /// Whether a picture of any size fills the surface.
    bool canStretch() const { return _viewport != nullptr; }

    /// Pixels a point in 120ths, once the compositor has told.
    std::optional<int> scale() const { return _scale; }

    /// Tells the compositor that what comes next knows of the last size.
    void acknowledge();

    /// Shows a picture in the size. Where it cannot be stretched, its sides are divided by the
    /// scale. Asks to hear when the next picture makes sense.
    void show(wl_buffer *picture, const std::vector<DeviceRect> &changes, WaylandSize size,
              int wholeScale);

    /// True from show() until the next picture makes sense.
    bool isFrameAwaited() const { return _frame != nullptr; }

  private:
    struct Events;

    void makeRegions(const WaylandGlobals &globals, bool clickThrough);
    void damage(const std::vector<DeviceRect> &changes);
    void awaitFrame();
    void endFrame();

    wl_surface *_surface = nullptr;
    zwlr_layer_surface_v1 *_layerSurface = nullptr;
    wp_viewport *_viewport = nullptr;
    wp_fractional_scale_v1 *_fractionalScale = nullptr;
    wl_callback *_frame = nullptr;

    WaylandSize _size;
    std::optional<int> _scale;
    std::optional<std::uint32_t> _unacknowledged;
    bool _isConfigured = false;
    bool _isClosed = false;
};

} // namespace Lumivera
