#pragma once

#include "Tests/Host/Desktops/RealDesktop.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Tests on one desktop, which starts once for all of them. Each test leaves it as it was.
class RealDesktopTest : public ::testing::TestWithParam<DesktopKind> {
  protected:
    static void TearDownTestSuite() { _shared.reset(); }

    void SetUp() override;
    void TearDown() override;

    /// Starts `lumivera desktop` and waits until it shows something.
    void startWallpaper();

    /// Asks it to quit, and waits until it has ended; false when it does not.
    bool quitWallpaper();

    /// Ends it as a crash does.
    void killWallpaper();

    /// The status of all outputs; empty without one.
    nlohmann::json outputs();
    bool outputBecomes(const std::function<bool(const nlohmann::json &output)> &condition);

    /// What the first output's view heard of taps; -1 when the status does not say.
    int taps();

    /// Whether all icons that were there at first can be seen at their places, most of the time.
    bool showsIcons() { return showsIcons(desktop().icons()); }
    bool showsIcons(const std::vector<ScreenRect> &icons);

    /// Whether the screen looks as it did at first.
    bool looksAsAtFirst();

    /// Whether petals move in front of the bundle's background.
    bool showsPetals() { return showsPetals(screen().workArea()); }
    bool showsPetals(const ScreenRect &area);

    /// Whether the bundle's background is what the icons lie on.
    bool showsBackground();

    /// A window of the person's.
    DesktopScreen::Window openWindow(const ScreenRect &rect);
    DesktopScreen::Window openWindow();
    void maximize(DesktopScreen::Window window);
    void makeFullScreen(DesktopScreen::Window window);
    bool isWhole(DesktopScreen::Window window);

    /// Whether neither the host nor a view is scheduled for five seconds, once they have come to
    /// rest.
    bool usesNoProcessor();

    /// What the host says of an output.
    static bool rests(const nlohmann::json &output) { return !output["pauseReasons"].empty(); }
    static bool runs(const nlohmann::json &output) { return output["pauseReasons"].empty(); }

    /// Expects the petals to rest, without a use of the processor, until the window is closed.
    void expectRestUntilClosed(DesktopScreen::Window window, const std::string &step);

    /// Finds the icon of the text file by what double clicks open, unless that is known already.
    bool findTextFile();

    /// Whether a double click on the text file opens it.
    bool opensTheTextFile();

    /// Whether a right click beside the icons opens a menu, and Escape closes it.
    bool opensTheMenu();

    /// The monitors, as the server has them.
    std::vector<ScreenRect> monitors();

    /// Closes windows of others that a test has made appear.
    void closeForeignWindows();
    void closeMenus();

    int workspaceCount();
    bool switchToWorkspace(int workspace);

    /// Kills what draws the icons, and waits until it is back.
    bool restartFileManager();

    bool setShowingDesktop(bool on);

    RealDesktop &desktop() { return *_shared; }
    DesktopScreen &screen() { return _shared->screen(); }
    void photograph(const std::string &step);

    /// Seconds that the desktop may take for something that a person waits for.
    double patience() const;

    static constexpr std::uint32_t kWindowColour = 0xFFE0B020;

  private:
    static std::string testName();

    bool opensTheTextFileAt(const ScreenRect &icon, double seconds);
    bool isPartOfTheDesktop(DesktopScreen::Window window);
    std::vector<DesktopScreen::Window> newWindows(const std::vector<DesktopScreen::Shown> &before);

    static std::unique_ptr<RealDesktop> _shared;

    std::vector<DesktopScreen::Window> _windows;
    std::vector<DesktopScreen::Window> _managedBefore;
    pid_t _host = -1;
};
