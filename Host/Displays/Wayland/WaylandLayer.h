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

/// The layer of a surface. Neither is in front of a window.
enum class WaylandLevel {
    Background, ///< as large as the output, beneath panels
    Bottom,     ///< in front of every background, as large as what panels leave of the output
};

/// A layer surface that fills an output. Main thread.
class WaylandLayer final {
  public:
    /// `owner` becomes the user data of the wl_surface.
    WaylandLayer(const WaylandGlobals &globals, wl_output *output, WaylandLevel level, void *owner);
    ~WaylandLayer();

    WaylandLayer(const WaylandLayer &) = delete;
    WaylandLayer &operator=(const WaylandLayer &) = delete;

    wl_surface *handle() const { return _surface; }

    /// True once the compositor has configured it, before which no buffer may be attached.
    bool isConfigured() const { return _isConfigured; }

    /// True once the compositor has closed it; a new layer surface is needed then.
    bool isClosed() const { return _isClosed; }

    /// The last configured size in points; a side of 0 is ours to choose.
    WaylandSize size() const { return _size; }

    /// Whether the compositor scales a buffer of any size to the surface.
    bool canStretch() const { return _viewport != nullptr; }

    /// The preferred scale in 120ths, once the compositor has told it.
    std::optional<int> scale() const { return _scale; }

    /// Acknowledges the last configure event.
    void acknowledge();

    /// Commits a buffer with its damage in pixels, and asks for a frame callback. `size` is used
    /// where the compositor can scale buffers, `wholeScale` where it cannot.
    void show(wl_buffer *buffer, const std::vector<DeviceRect> &damage, WaylandSize size,
              int wholeScale);

    /// Asks for a frame callback and shows nothing new.
    void askForFrame();

    /// True from show() or askForFrame() until the frame callback.
    bool isFrameAwaited() const { return _frame != nullptr; }

  private:
    struct Events;

    void makeRegion(const WaylandGlobals &globals);
    void addDamage(const std::vector<DeviceRect> &damage);
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
