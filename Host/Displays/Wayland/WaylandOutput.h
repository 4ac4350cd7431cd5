#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>
#include <string>

struct wl_output;
struct zxdg_output_manager_v1;
struct zxdg_output_v1;

namespace Lumivera {

/// A size in logical pixels, the compositor's name for points.
struct WaylandSize {
    int width = 0;
    int height = 0;

    bool operator==(const WaylandSize &) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
};

/// A place in logical pixels.
struct WaylandPlace {
    int x = 0;
    int y = 0;
};

/// What the compositor says about an output. Events take effect together, with the done event. Main
/// thread.
class WaylandOutput final {
  public:
    /// A scale of 1 in the unit of wp_fractional_scale_v1.
    static constexpr int kScaleParts = 120;

    /// Scales are limited to this.
    static constexpr int kMaxScale = 16;

    /// Distances in points are limited to this, which no screen reaches, so that sums do not
    /// overflow.
    static constexpr int kMaxDistance = 1 << 20;

    /// Owns the output. `number` is its number in the registry.
    WaylandOutput(wl_output *output, std::uint32_t number);
    ~WaylandOutput();

    WaylandOutput(const WaylandOutput &) = delete;
    WaylandOutput &operator=(const WaylandOutput &) = delete;

    /// Asks the manager for the logical size. isKnown() waits for it from then on.
    void describeBy(zxdg_output_manager_v1 *manager);

    wl_output *handle() const { return _output; }
    std::uint32_t number() const { return _number; }

    /// True once the compositor has described the output completely.
    bool isKnown() const { return _isKnown; }

    /// The connector, such as "HDMI-A-1"; "wl-N" with the registry's number when it has no name.
    std::string name() const;

    /// In points, rotated; empty when the compositor does not tell.
    WaylandSize size() const;

    /// Its place among all outputs, in points; at 0, 0 when the compositor does not tell.
    DeviceRect area() const;

    /// Whole pixels a point, at least 1: the scale to draw with where fractional scales are not
    /// supported.
    int wholeScale() const { return _current.scale; }

    /// Pixels a point in 120ths: the mode divided by the size where both are known, else the whole
    /// scale.
    int scale() const;

  private:
    struct Events;

    struct State {
        std::string name;
        WaylandSize mode; ///< pixels, not rotated
        WaylandSize logical;
        WaylandPlace place;
        int scale = 1;
        bool isRotated = false;
    };

    WaylandSize rotatedMode() const;
    void apply();
    void applyIfNothingFollows(std::uint32_t version);

    wl_output *const _output;
    const std::uint32_t _number;
    zxdg_output_v1 *_description = nullptr;
    State _pending;
    State _current;
    bool _isKnown = false;
};

} // namespace Lumivera
