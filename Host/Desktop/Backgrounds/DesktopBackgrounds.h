#pragma once

#include "Host/Desktop/Backgrounds/BackgroundPictures.h"
#include "Host/Desktop/Backgrounds/ProgramBackground.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

namespace Lumivera {

/// Gives desktops that draw icons on an opaque background of their own the wallpaper's background
/// as that background, and gives the user's own back. No call but giveBack() waits for anything
/// but the disk. Main thread.
class DesktopBackgrounds final : private ProgramBackground::Owner {
  public:
    using Log = std::function<void(const std::string &line)>;

    /// Settings that an earlier run has left behind are given back after this time, unless show()
    /// is called for the same desktop before.
    static constexpr NSTimeInterval kLeftOverDelay = 10;

    /// giveBack() never takes longer than this.
    static constexpr NSTimeInterval kLongestGiveBack = 5;

    /// The folder may not exist yet. `log` gets one line for each thing that the user should know.
    /// The waiter is not owned.
    DesktopBackgrounds(DescriptorWatch &waiter, std::string stateFolder, Log log);

    /// For tests: with another runner and other programs.
    DesktopBackgrounds(std::unique_ptr<ToolRunner> runner,
                       std::vector<std::unique_ptr<DesktopProgram>> programs,
                       std::string stateFolder, Log log);

    /// Gives nothing back: a killed process could not either.
    ~DesktopBackgrounds();

    DesktopBackgrounds(const DesktopBackgrounds &) = delete;
    DesktopBackgrounds &operator=(const DesktopBackgrounds &) = delete;

    /// Shows buffer 0 of the picture as the wallpaper of an output. `program` is the class of the
    /// window that draws the desktop there; capitals do not matter, and for an unknown one nothing
    /// happens. Another window is one of a program that has begun anew. `area` is the output's
    /// place on the screen, in pixels. The pixels are read within the call; the desktop follows
    /// soon after.
    void show(const std::string &program, std::uint32_t window, const std::string &output,
              const DeviceRect &area, const SharedBuffers &picture);

    /// The output is gone, or shows its own background. When no output is left, everything is given
    /// back after kLeftOverDelay.
    void remove(const std::string &output);

    /// Gives everything back that show() of this or an earlier run has changed, and waits for it.
    /// False when something could not be given back: it stays kept, and the log says so.
    bool giveBack();

    /// Gives back what an earlier run has left behind because it was killed. Called once after the
    /// start.
    void giveBackLeftOver();

    /// Whether show() knows the desktop.
    static bool knows(const std::string &program);

    /// What people call the settings of that desktop's wallpaper, such as "Xfce's desktop
    /// settings"; empty for an unknown desktop.
    static std::string settingsNameOf(const std::string &program);

    /// $XDG_STATE_HOME/lumivera/backgrounds, in ~/.local/state by default.
    static std::string userFolder();

  private:
    void report(const std::string &line) override;
    DesktopPictures pictures(bool withScreen) override { return _pictures.pictures(withScreen); }
    bool isOurPicture(const std::string &value) override { return _pictures.isInFolder(value); }
    void changeEnded() override;

    ProgramBackground *find(const std::string &program);
    bool takeFolder();
    void showNow();
    void giveBackNow();
    bool hasKeptSettings() const;

    const Log _log;
    StateFolder _folder;
    BackgroundPictures _pictures;
    const std::unique_ptr<ToolRunner> _runner;
    std::vector<std::unique_ptr<ProgramBackground>> _programs;
    std::set<ProgramBackground *> _shown;

    /// Programs that have begun since the last change, and by outputs their windows.
    std::set<ProgramBackground *> _new;
    std::map<std::string, std::uint32_t> _windows;
    std::set<std::string> _reported;
    DeferredCall _show;
    DeferredCall _giveBackLeftOver;
};

} // namespace Lumivera
