#pragma once

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Desktop/Control/ControlService.h"
#include "Host/Desktop/LastGoodBundle.h"
#include "Host/Desktop/OutputShow.h"
#include "Host/Desktop/Policy/PausePolicy.h"
#include "Host/Displays/Desktop.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// Shows a wallpaper on every output of a desktop, and pauses each when PausePolicy says so. What
/// an output shows comes from the bundle, overridden by the configuration, then by the command
/// line, then by requests to the running host; each of these may have values for all outputs and,
/// overriding them, for one output. A changed configuration discards earlier requests. Main thread.
class DesktopHost final : public ControlTarget,
                          private Desktop::Listener,
                          private OutputShow::Listener {
  public:
    /// The pause options of the command line; where one is missing, the configuration decides.
    struct PauseOverrides {
        std::optional<PauseOptions::OnBattery> onBattery;
        std::optional<bool> whenCovered;
        std::optional<bool> whenLocked;
        std::optional<bool> whenIdle;
    };

    struct Options {
        WallpaperChoice choice;
        std::map<std::string, WallpaperChoice> outputChoices;
        PauseOverrides pauses;

        /// Where wallpapers are; the configuration decides without it.
        std::optional<LayerChoice> layer;

        ViewMaker makeView;

        /// The path of the bundle to show when none is chosen or all others fail.
        std::string shippedBundle;

        /// The file of the LastGoodBundle; empty for none.
        std::string lastGoodPath;

        /// The host ends by itself after this time, in seconds, unless keep() is called before.
        std::optional<double> trial;

        /// Called with where the surface of each new output is. May be empty.
        std::function<void(const SurfaceLayer &layer)> aboutLayer;

        /// Called with each line for the log.
        std::function<void(const std::string &line)> log;

        /// Keeps those lines, and those of wallpapers.
        std::shared_ptr<WallpaperLog> wallpaperLog = std::make_shared<WallpaperLog>();

        /// Called when the background that belongs behind the petals of a transparent surface is
        /// new, or when the output has moved: it is opaque, in buffer 0 of `picture`, and as large
        /// as the output. May be empty.
        std::function<void(const DesktopSurface &surface, const SharedBuffers &picture)>
            showBackground;

        /// Called when that background is needed no more. May be empty.
        std::function<void(const std::string &output)> hideBackground;
    };

    /// Shows wallpapers on the desktop's outputs from now on. The desktop is not owned.
    DesktopHost(Desktop &desktop, Options options, const Configuration &configuration);
    ~DesktopHost();

    DesktopHost(const DesktopHost &) = delete;
    DesktopHost &operator=(const DesktopHost &) = delete;

    void setConfiguration(const Configuration &configuration);
    void setSession(const SessionState &session);

    /// The reason why the window system is gone, which stops the main run loop; else empty.
    const std::string &lossReason() const { return _lossReason; }

    std::vector<OutputStatus> status(const std::string &output) override;
    void setPaused(const std::string &output, bool paused) override;
    void choose(const std::string &output, const WallpaperChoice &choice) override;
    void forget(const std::string &output, const std::string &key) override;
    void tap(const std::string &output, CGPoint point) override;
    void setCover(std::uint64_t program, const std::string &output,
                  std::optional<SurfaceVisibility> cover) override;
    void forgetCovers(std::uint64_t program) override;
    void saveScreenshot(const std::string &output, const std::string &path,
                        std::function<void(std::optional<std::string> problem)> done) override;
    const WallpaperLog &log() const override { return *_options.wallpaperLog; }
    void keep() override;
    void quit() override;

  private:
    /// A choice for all outputs and those that override it for one output.
    struct Layer {
        WallpaperChoice all;
        std::map<std::string, WallpaperChoice> outputs;

        void applyTo(WallpaperChoice &choice, const std::string &output) const;
    };

    /// What a program has told of an output; an empty output means all.
    struct Cover {
        std::uint64_t program;
        std::string output;
        SurfaceVisibility visibility;
    };

    struct Entry {
        std::unique_ptr<OutputShow> show;
        PauseDecision decision;
    };

    void outputAdded(DesktopSurface &surface) override;
    void outputRemoved(DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override;
    void outputVisibilityChanged() override { updatePauses(); }
    void outputSays(const std::string &output, const std::string &bundle,
                    const std::string &line) override;
    void outputBackgroundDrawn(const DesktopSurface &surface,
                               const SharedBuffers &picture) override;
    void outputBackgroundGone(const std::string &output) override;

    std::vector<Entry *> entriesOf(const std::string &output);
    WallpaperChoice choiceFor(const std::string &output) const;
    PauseOptions pauseOptions() const;
    bool isPausedByUser(const std::string &output) const;
    SurfaceVisibility visibilityOf(const OutputShow &show) const;
    void updateChoices();
    void updatePauses();

    Desktop &_desktop;
    const Options _options;
    Configuration _configuration;
    Layer _controlled;
    LastGoodBundle _lastGood;
    SessionState _session;
    bool _areAllPaused = false;
    std::map<std::string, bool> _pausedOutputs;
    std::vector<Entry> _entries;

    /// The last word comes last, and counts.
    std::vector<Cover> _covers;
    std::string _lossReason;
    DeferredCall _trialEnd;
};

} // namespace Lumivera
