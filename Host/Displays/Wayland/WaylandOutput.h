#pragma once

#include <cstdint>
#include <string>

struct wl_output;
struct zxdg_output_manager_v1;
struct zxdg_output_v1;

namespace Lumivera {

/// A size in the compositor's units: the points of whatever is shown there.
struct WaylandSize {
    int width = 0;
    int height = 0;

    bool operator==(const WaylandSize &) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
};

/// What the compositor says about an output. What belongs together changes together. Main thread.
class WaylandOutput final {
  public:
    /// Scales are counted in these parts, as the compositor does.
    static constexpr int kScaleParts = 120;

    /// Whoever asks for more pixels a point is not believed.
    static constexpr int kLargestScale = 16;

    /// `number` is the registry's for it. Takes over the output.
    WaylandOutput(wl_output *output, std::uint32_t number);
    ~WaylandOutput();

    WaylandOutput(const WaylandOutput &) = delete;
    WaylandOutput &operator=(const WaylandOutput &) = delete;

    /// Asks the manager for the sizes that windows see, which decide what isKnown() waits for.
    void describeBy(zxdg_output_manager_v1 *manager);

    wl_output *handle() const { return _output; }
    std::uint32_t number() const { return _number; }

    /// True once everything was told for the first time.
    bool isKnown() const { return _isKnown; }

    /// Its connector, such as "HDMI-A-1"; "wl-N" with the registry's number when nobody tells.
    std::string name() const;

    /// In points, as it is turned; empty when nobody tells.
    WaylandSize size() const;

    /// Whole pixels a point, at least 1: what the output's pictures are to be drawn with where no
    /// other scale can be had.
    int wholeScale() const { return _current.scale; }

    /// Pixels a point in 120ths: what mode and size tell, or the whole one.
    int scale() const;

  private:
    struct Events;

    struct State {
        std::string name;
        WaylandSize mode; ///< pixels, not turned
        WaylandSize logical;
        int scale = 1;
        bool isTurned = false;
    };

    WaylandSize turnedMode() const;
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
