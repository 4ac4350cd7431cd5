#include "Tests/Host/Desktops/RealDesktopTest.h"

#include "Tests/Host/Programs/VirtualScreen.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>
#include <utility>

// Plasma shows the wallpaper itself, with Lumivera's plug-in, on X11 and on Wayland. Without it, a
// surface on Wayland does.

using nlohmann::json;

namespace {

constexpr const char *kPlugin = "org.lumivera.wallpaper";

/// A window of a Wayland program.
constexpr const char *kWindow = R"(
imports.gi.versions.Gtk = '3.0';
const {Gtk} = imports.gi;
Gtk.init(null);
const window = new Gtk.Window({title: 'Large'});
ARGV[0] === 'maximized' ? window.maximize() : window.fullscreen();
window.show_all();
Gtk.main();
)";

class PlasmaViewerTest : public RealDesktopTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    bool isOnWayland() const { return GetParam().name == "PlasmaOnWayland"; }

    /// What Plasma prints when it runs a script for each of its desktops, `d`.
    std::string evaluate(const std::string &script);
    void choosePlugin() { evaluate("d.wallpaperPlugin = '" + std::string(kPlugin) + "';"); }

    /// Starts the wallpaper and waits until Plasma shows it.
    void startShown();

    /// Whether nothing moves in that area, and it is of one colour mostly.
    bool isCoveredByMenu(const ScreenRect &area);

    /// Opens a window of the desktop's own window system, which is "maximized" or "fullscreen".
    void openLarge(const std::string &state);
    void closeLarge();

    /// Whether such a window lets the wallpaper rest until it is closed.
    void restsUnder(const std::string &state);

  private:
    pid_t _program = -1;
    DesktopScreen::Window _window = 0;
};

void PlasmaViewerTest::SetUp() {
    RealDesktopTest::SetUp();
    if (HasFatalFailure() || IsSkipped()) {
        return;
    }
    if (!std::filesystem::exists(desktop().folder() + "/prefix/share/plasma/wallpapers/" +
                                 kPlugin)) {
        GTEST_SKIP() << "needs the plug-in for Plasma, which is not installed";
    }
    choosePlugin();
}

void PlasmaViewerTest::TearDown() {
    closeLarge();
    RealDesktopTest::TearDown();
}

std::string PlasmaViewerTest::evaluate(const std::string &script) {
    const auto answer = desktop().session().run(
        {"gdbus", "call", "--session", "--dest", "org.kde.plasmashell", "--object-path",
         "/PlasmaShell", "--method", "org.kde.PlasmaShell.evaluateScript",
         "for (const d of desktops()) { " + script + " }"});
    EXPECT_EQ(answer.status, 0) << answer.output;
    return answer.output;
}

void PlasmaViewerTest::startShown() {
    startWallpaper();
    ASSERT_TRUE(outputBecomes([](const json &output) {
        const std::string words = output["layerWords"];
        return words.find("by the desktop itself") != std::string::npos && output["frames"] > 3;
    }));
}

bool PlasmaViewerTest::isCoveredByMenu(const ScreenRect &area) {
    return eventually(
        [&] {
            const ScreenPicture before = screen().picture();
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            const ScreenPicture picture = screen().picture();
            const std::uint32_t colour = picture.at(area.x + 5, area.y + 12);
            return picture.sharedWith(before, area) > 0.9999 && picture.shareOf(colour, area) > 0.5;
        },
        patience());
}

void PlasmaViewerTest::openLarge(const std::string &state) {
    if (isOnWayland()) {
        _program = desktop().start({"env", "GDK_BACKEND=wayland", "gjs", "-c", kWindow, state});
        return;
    }
    _window = openWindow();
    state == "maximized" ? maximize(_window) : makeFullScreen(_window);
}

void PlasmaViewerTest::closeLarge() {
    if (_program > 0) {
        desktop().session().signal(std::exchange(_program, -1), SIGTERM);
    }
    if (_window != 0) {
        screen().closeWindow(std::exchange(_window, 0));
    }
}

void PlasmaViewerTest::restsUnder(const std::string &state) {
    openLarge(state);
    ASSERT_TRUE(outputBecomes(rests)) << state;
    EXPECT_TRUE(usesNoProcessor()) << state;
    photograph(state);
    closeLarge();
    ASSERT_TRUE(outputBecomes(runs)) << state;
    EXPECT_TRUE(showsPetals()) << state;
}

TEST_P(PlasmaViewerTest, ShowsTheWallpaperBehindTheIcons) {
    startShown();
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsBackground());
    EXPECT_TRUE(showsIcons());
    EXPECT_EQ(outputs().size(), 1U);
    const std::string doctor = desktop().session().run({"lumivera", "doctor"}).output;
    EXPECT_NE(doctor.find(": shown by the desktop itself"), std::string::npos) << doctor;
    EXPECT_EQ(doctor.find("lumivera-plasma"), std::string::npos) << doctor;
    EXPECT_NE(evaluate("print(d.wallpaperPlugin);").find(kPlugin), std::string::npos)
        << "the host must not choose another one";
    photograph("running");
}

TEST_P(PlasmaViewerTest, LeavesTheMenuToARightClick) {
    startShown();
    ASSERT_TRUE(showsPetals());
    const ScreenPoint place{400, 250};
    // Between the entries' names and their shortcuts.
    const ScreenRect menu{place.x + 245, place.y + 30, 50, 220};
    screen().click(place, 3);
    EXPECT_TRUE(isCoveredByMenu(menu));
    photograph("menu");
    screen().pressEscape();
    EXPECT_TRUE(showsPetals(menu));
    EXPECT_EQ(taps(), 0);
}

TEST_P(PlasmaViewerTest, HearsAClickBesideTheIcons) {
    startShown();
    screen().click(desktop().emptyPlace());
    EXPECT_TRUE(eventually([&] { return taps() == 1; }, 20));
    photograph("tapped");
}

TEST_P(PlasmaViewerTest, RestsUnderAMaximizedWindow) {
    startShown();
    restsUnder("maximized");
}

TEST_P(PlasmaViewerTest, RestsUnderAFullScreenWindow) {
    startShown();
    restsUnder("fullscreen");
}

TEST_P(PlasmaViewerTest, RestsUnderLargeWindowsWithoutThePlugin) {
    if (!isOnWayland()) {
        GTEST_SKIP() << "is not on Wayland";
    }
    evaluate("d.wallpaperPlugin = 'org.kde.image';");
    startWallpaper();
    ASSERT_TRUE(outputBecomes([](const json &output) { return output["layer"] == "background"; }));
    const std::string doctor = desktop().session().run({"lumivera", "doctor"}).output;
    EXPECT_NE(doctor.find("ok  KWin's windows"), std::string::npos) << doctor;
    restsUnder("maximized");
    restsUnder("fullscreen");
}

TEST_P(PlasmaViewerTest, KeepsItsPictureWhileTheHostIsAway) {
    startShown();
    ASSERT_TRUE(showsBackground());
    killWallpaper();
    EXPECT_TRUE(desktop().comesToRest());
    EXPECT_TRUE(showsBackground());
    EXPECT_TRUE(showsIcons());
    photograph("away");
    startShown();
    EXPECT_TRUE(showsPetals());
}

TEST_P(PlasmaViewerTest, ComesBackWithPlasma) {
    startShown();
    ASSERT_TRUE(restartFileManager());
    EXPECT_TRUE(outputBecomes([](const json &output) {
        const std::string words = output["layerWords"];
        return words.find("by the desktop itself") != std::string::npos && output["frames"] > 3;
    }));
    EXPECT_TRUE(showsIcons());
    EXPECT_TRUE(showsPetals());
    photograph("restarted");
}

TEST_P(PlasmaViewerTest, SendsTheSettingsOfItsPage) {
    const auto setPetals = [this](int petals) {
        evaluate("d.wallpaperPlugin = 'org.kde.color';"
                 "d.currentConfigGroup = ['Wallpaper', '" +
                 std::string(kPlugin) + "', 'General'];" + "d.writeConfig('Petals', " +
                 std::to_string(petals) + ");");
        choosePlugin();
    };
    startShown();
    setPetals(7);
    EXPECT_TRUE(outputBecomes([](const json &output) { return output.value("petals", 0) == 7; }));
    setPetals(-1);
}

INSTANTIATE_TEST_SUITE_P(PlasmaOnX11, PlasmaViewerTest,
                         ::testing::Values(desktopKind("PlasmaOnX11")));
INSTANTIATE_TEST_SUITE_P(PlasmaOnWayland, PlasmaViewerTest,
                         ::testing::Values(desktopKind("PlasmaOnWayland")));

} // namespace
