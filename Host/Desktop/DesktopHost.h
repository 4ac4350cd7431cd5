#pragma once

#include "Host/Desktop/Configuration/Configuration.h"
#include "Host/Desktop/Control/ControlTarget.h"
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

/// Shows a wallpaper on every output of a desktop, and lets each rest while its policy says so.
/// What is shown where is decided by, from the least to the most: the bundle, the configuration,
/// the command line, whoever controls the running host; and by each of these first for all outputs,
/// then for the one. A changed configuration takes back what was controlled. Main thread.
class DesktopHost final : public ControlTarget,
                          private Desktop::Listener,
                          private OutputShow::Listener {
  public:
    /// What the command line says about resting; without values the configuration decides.
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

        /// Makes the views.
        ViewMaker makeView;

        /// Of the bundle that is shown when none is chosen or all others fail.
        std::string shippedBundle;

        /// Where the last good bundle is kept; empty for nowhere.
        std::string lastGoodPath;

        /// Told what whoever looks after the host should know, a line at a time.
        std::function<void(const std::string &line)> log;
    };

    /// The desktop is not owned. Shows are there for its outputs from now on.
    DesktopHost(Desktop &desktop, Options options, const Configuration &configuration);
    ~DesktopHost();

    DesktopHost(const DesktopHost &) = delete;
    DesktopHost &operator=(const DesktopHost &) = delete;

    void setConfiguration(const Configuration &configuration);
    void setSession(const SessionState &session);

    /// Why the window system has gone; empty while it is there. The main run loop was stopped then.
    const std::string &lossReason() const { return _lossReason; }

    std::vector<OutputStatus> status(const std::string &output) override;
    void setPaused(const std::string &output, bool paused) override;
    void choose(const std::string &output, const WallpaperChoice &choice) override;
    void forget(const std::string &output, const std::string &key) override;
    void tap(const std::string &output, CGPoint point) override;
    void saveScreenshot(const std::string &output, const std::string &path,
                        std::function<void(std::optional<std::string> problem)> done) override;
    void quit() override;

  private:
    /// Choices for all outputs and, over them, for one.
    struct Layer {
        WallpaperChoice all;
        std::map<std::string, WallpaperChoice> outputs;

        void applyTo(WallpaperChoice &choice, const std::string &output) const;
    };

    struct Entry {
        std::unique_ptr<OutputShow> show;
        PauseDecision decision;
    };

    void outputAdded(DesktopSurface &surface) override;
    void outputRemoved(DesktopSurface &surface) override;
    void desktopLost(const std::string &reason) override;
    void outputVisibilityChanged() override { updatePauses(); }
    void outputSays(const std::string &line) override { _options.log(line); }

    std::vector<Entry *> entriesOf(const std::string &output);
    WallpaperChoice choiceFor(const std::string &output) const;
    PauseOptions pauseOptions() const;
    bool isPausedByUser(const std::string &output) const;
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
    std::string _lossReason;
};

} // namespace Lumivera
