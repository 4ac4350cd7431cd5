#pragma once

#include "Host/Desktop/Control/ControlRequest.h"
#include "Host/Desktop/Control/WallpaperLog.h"
#include "Host/Wallpapers/WallpaperChoice.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lumivera {

/// The state of one output.
struct OutputStatus {
    std::string output;
    unsigned width = 0;
    unsigned height = 0;
    CGFloat density = 1;

    /// The visible bundle, and the requested one if it has failed and another is shown instead.
    std::string bundle;
    std::string failedBundle;

    /// Only for wallpapers that have petals.
    std::optional<std::uint64_t> petals;

    /// Where the surface is: its name for programs, and words for people; what would improve it, or
    /// nothing.
    std::string layer;
    std::string layerWords;
    std::string layerRemedy;

    /// The taps that reached the view.
    std::uint64_t taps = 0;

    std::uint64_t frames = 0;
    double framesPerSecond = 0;

    /// Processor time of the view's process, in seconds.
    double cpuTime = 0;

    /// The names of PausePolicy's reasons; empty while the wallpaper runs.
    std::vector<std::string> pauseReasons;
};

/// What a running host can be asked for. An empty output means all outputs. Requests that fail
/// throw a HostError, such as for an unknown output. Main thread.
class ControlTarget {
  public:
    virtual std::vector<OutputStatus> status(const std::string &output) = 0;
    virtual void setPaused(const std::string &output, bool paused) = 0;

    /// Sets the values that the choice has. A bundle that is shown already is restarted.
    virtual void choose(const std::string &output, const WallpaperChoice &choice) = 0;

    /// Forgets what choose() has set for a key, so that the configuration and the bundle decide.
    virtual void forget(const std::string &output, const std::string &key) = 0;

    /// In points from the output's top left corner.
    virtual void tap(const std::string &output, CGPoint point) = 0;

    /// A program tells what is to be seen of the output. That counts instead of what the host sees
    /// of windows until the program withdraws it with no value, or is gone.
    virtual void setCover(std::uint64_t program, const std::string &output,
                          std::optional<SurfaceVisibility> cover) = 0;

    /// The program is gone.
    virtual void forgetCovers(std::uint64_t program) = 0;

    /// Writes the visible picture of one output as PNG, of the first output when none is named.
    /// `done` is called once, in this call or a later call-out, with the problem if there is one.
    virtual void saveScreenshot(const std::string &output, const std::string &path,
                                std::function<void(std::optional<std::string> problem)> done) = 0;

    /// What wallpapers have logged and printed, and what the host has said about them.
    virtual const WallpaperLog &log() const = 0;

    /// The host stays, if it was to end by itself.
    virtual void keep() = 0;
    virtual void quit() = 0;

  protected:
    ~ControlTarget() = default;
};

/// Executes requests and writes the answers: JSON objects in one line, without a line break. Main
/// thread.
class ControlService {
  public:
    using Answered = std::function<void(const std::string &answer)>;

    /// `desktop` is the window system's name. The target is not owned.
    ControlService(ControlTarget &target, std::string desktop);

    /// Calls `answered` once: in this call, or later when the request takes time. `program` is the
    /// number of the connection that asks.
    void execute(std::uint64_t program, const ControlRequest &request, const Answered &answered);

    /// The connection is over, and with it what held as long as it lived.
    void connectionEnded(std::uint64_t program) { _target.forgetCovers(program); }

    /// {"ok": false, "error": "..."}, with the request's identifier if it has one.
    static std::string refusal(std::string_view problem, const std::string &identifier = {});

  private:
    std::string resultOf(std::uint64_t program, const ControlRequest &request);
    std::string status(const ControlRequest &request);
    std::string log(const ControlRequest &request);

    ControlTarget &_target;
    const std::string _desktop;
};

} // namespace Lumivera
