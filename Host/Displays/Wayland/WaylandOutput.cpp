#include <wayland-client.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandOutput.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Lumivera {

struct WaylandOutput::Events {
    static void geometry(void *data, wl_output *output, std::int32_t, std::int32_t, std::int32_t,
                         std::int32_t, std::int32_t, const char *, const char *,
                         std::int32_t transform) {
        auto &self = *static_cast<WaylandOutput *>(data);
        self._pending.isRotated = transform == WL_OUTPUT_TRANSFORM_90 ||
                                  transform == WL_OUTPUT_TRANSFORM_270 ||
                                  transform == WL_OUTPUT_TRANSFORM_FLIPPED_90 ||
                                  transform == WL_OUTPUT_TRANSFORM_FLIPPED_270;
        self.applyIfNothingFollows(wl_output_get_version(output));
    }

    static void mode(void *data, wl_output *output, std::uint32_t flags, std::int32_t width,
                     std::int32_t height, std::int32_t) {
        auto &self = *static_cast<WaylandOutput *>(data);
        if (flags & WL_OUTPUT_MODE_CURRENT) {
            self._pending.mode = {width, height};
            self.applyIfNothingFollows(wl_output_get_version(output));
        }
    }

    static void done(void *data, wl_output *) { static_cast<WaylandOutput *>(data)->apply(); }

    static void scale(void *data, wl_output *, std::int32_t factor) {
        static_cast<WaylandOutput *>(data)->_pending.scale = std::clamp(factor, 1, kMaxScale);
    }

    static void name(void *data, wl_output *, const char *name) {
        static_cast<WaylandOutput *>(data)->_pending.name = name;
    }

    static void description(void *, wl_output *, const char *) {}

    static void logicalPosition(void *data, zxdg_output_v1 *, std::int32_t x, std::int32_t y) {
        static_cast<WaylandOutput *>(data)->_pending.place = {
            std::clamp(x, -kMaxDistance, kMaxDistance), std::clamp(y, -kMaxDistance, kMaxDistance)};
    }

    static void logicalSize(void *data, zxdg_output_v1 *, std::int32_t width, std::int32_t height) {
        static_cast<WaylandOutput *>(data)->_pending.logical = {width, height};
    }

    static void logicalDone(void *data, zxdg_output_v1 *) {
        static_cast<WaylandOutput *>(data)->apply();
    }

    /// The name in wl_output has precedence.
    static void logicalName(void *data, zxdg_output_v1 *, const char *name) {
        auto &self = *static_cast<WaylandOutput *>(data);
        if (self._pending.name.empty()) {
            self._pending.name = name;
        }
    }

    static void logicalDescription(void *, zxdg_output_v1 *, const char *) {}

    static constexpr wl_output_listener kOutput{.geometry = geometry,
                                                .mode = mode,
                                                .done = done,
                                                .scale = scale,
                                                .name = name,
                                                .description = description};
    static constexpr zxdg_output_v1_listener kDescription{.logical_position = logicalPosition,
                                                          .logical_size = logicalSize,
                                                          .done = logicalDone,
                                                          .name = logicalName,
                                                          .description = logicalDescription};
};

WaylandOutput::WaylandOutput(wl_output *output, std::uint32_t number)
    : _output(output), _number(number) {
    wl_output_add_listener(_output, &Events::kOutput, this);
}

WaylandOutput::~WaylandOutput() {
    if (_description) {
        zxdg_output_v1_destroy(_description);
    }
    if (wl_output_get_version(_output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
        wl_output_release(_output);
    } else {
        wl_output_destroy(_output);
    }
}

void WaylandOutput::describeBy(zxdg_output_manager_v1 *manager) {
    if (!_description) {
        _description = zxdg_output_manager_v1_get_xdg_output(manager, _output);
        zxdg_output_v1_add_listener(_description, &Events::kDescription, this);
    }
}

std::string WaylandOutput::name() const {
    return _current.name.empty() ? "wl-" + std::to_string(_number) : _current.name;
}

WaylandSize WaylandOutput::size() const {
    if (!_current.logical.isEmpty()) {
        return _current.logical;
    }
    const WaylandSize mode = rotatedMode();
    return {mode.width / _current.scale, mode.height / _current.scale};
}

DeviceRect WaylandOutput::area() const {
    const auto &[x, y] = _current.place;
    const WaylandSize all = size();
    return {x, y, x + std::clamp(all.width, 0, kMaxDistance),
            y + std::clamp(all.height, 0, kMaxDistance)};
}

/// Divides the longer sides: the compositor has rounded the size, which matters least there.
int WaylandOutput::scale() const {
    const WaylandSize mode = rotatedMode();
    const WaylandSize &logical = _current.logical;
    if (mode.isEmpty() || logical.isEmpty()) {
        return _current.scale * kScaleParts;
    }
    const double ratio = logical.width >= logical.height
                             ? static_cast<double>(mode.width) / logical.width
                             : static_cast<double>(mode.height) / logical.height;
    return std::clamp(static_cast<int>(std::lround(ratio * kScaleParts)), 1,
                      kMaxScale * kScaleParts);
}

WaylandSize WaylandOutput::rotatedMode() const {
    const WaylandSize &mode = _current.mode;
    return _current.isRotated ? WaylandSize{mode.height, mode.width} : mode;
}

void WaylandOutput::apply() {
    _current = _pending;
    _isKnown = _isKnown || !_description || !_current.logical.isEmpty();
}

/// Version 1 of wl_output has no done event.
void WaylandOutput::applyIfNothingFollows(std::uint32_t version) {
    if (version < WL_OUTPUT_DONE_SINCE_VERSION) {
        apply();
    }
}

} // namespace Lumivera
