#pragma once

#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// How it goes on one output.
struct OutputStatus {
    std::string output;
    unsigned width = 0;
    unsigned height = 0;
    CGFloat density = 1;

    /// The bundle that is shown, and the one that was asked for when that one failed.
    std::string bundle;
    std::string failedBundle;

    /// Only for wallpapers that have petals.
    std::optional<std::uint64_t> petals;

    std::uint64_t frames = 0;
    double framesPerSecond = 0;

    /// Of the process that draws, in seconds.
    double cpuTime = 0;

    /// Empty while it runs; otherwise by name: "covered", "fullscreen", "output-off", "locked",
    /// "idle", "asleep", "battery", "user".
    std::vector<std::string> pauseReasons;
};

/// What a running host can be asked for. An empty output means all of them; a HostError says what
/// is wrong, an unknown output for one. Main thread.
class ControlTarget {
  public:
    virtual std::vector<OutputStatus> status(const std::string &output) = 0;
    virtual void setPaused(const std::string &output, bool paused) = 0;

    /// The values that the choice has; a bundle among them is begun anew.
    virtual void choose(const std::string &output, const WallpaperChoice &choice) = 0;

    /// Takes back what was chosen here for a key of WallpaperChoice, so that the configuration and
    /// the bundle decide again.
    virtual void forget(const std::string &output, const std::string &key) = 0;

    /// In points from the output's top left corner.
    virtual void tap(const std::string &output, CGPoint point) = 0;

    /// Writes what one output shows as PNG; the first one's when none is named. `done` is called
    /// once, in this call or a later call-out: with nothing, or with what went wrong.
    virtual void saveScreenshot(const std::string &output, const std::string &path,
                                std::function<void(std::optional<std::string> problem)> done) = 0;

    virtual void quit() = 0;

  protected:
    ~ControlTarget() = default;
};

} // namespace Lumivera
