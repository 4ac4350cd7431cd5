#include "Tests/Host/Desktops/RealDesktopTest.h"

#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <csignal>
#include <utility>

// What the extension of GNOME Shell adds, in a real shell on X11 and on Wayland. The shell
// evaluates what the tests ask.

using nlohmann::json;

namespace {

constexpr const char *kObject = R"(Main.extensionManager.lookup('lumivera@lumivera.app'))";

/// A window of the usual toolkit, which is a Wayland program's where that is possible.
constexpr const char *kWindow = R"(
imports.gi.versions.Gtk = '3.0';
const {Gtk} = imports.gi;
Gtk.init(null);
const window = new Gtk.Window({title: 'Cover', default_width: 300, default_height: 200});
if (ARGV[0] === 'maximized')
    window.maximize();
if (ARGV[0] === 'full-screen')
    window.fullscreen();
window.show_all();
Gtk.main();
)";

class GnomeExtensionTest : public RealDesktopTest {
  protected:
    void TearDown() override;

    bool isOnWayland() const { return GetParam().name == "GNOMEOnWayland"; }

    /// What the shell answers to a script, as text; "error: …" when that fails.
    std::string evaluate(const std::string &script);
    bool becomes(const std::string &script, const std::string &expected);

    /// The extension's state: 1 on, 2 off.
    std::string state() { return evaluate(std::string(kObject) + ".state"); }
    void setEnabled(bool isEnabled);

    /// Whether it is connected to the host.
    bool isConnected() { return becomes(kObject + kConnection, "true"); }

    void showOverview(bool isShown);
    void openToolkitWindow(const std::string &how);
    void closeToolkitWindow();
    void closeFolders();

    const std::string kConnection = ".stateObj._desktop._connection.isOpen()";

  private:
    pid_t _window = -1;
};

void GnomeExtensionTest::TearDown() {
    if (IsSkipped() || !desktop().problem().empty()) {
        return;
    }
    if (HasFailure()) {
        photograph("failed-early");
    }
    closeToolkitWindow();
    showOverview(false);
    setEnabled(true);
    RealDesktopTest::TearDown();
}

std::string GnomeExtensionTest::evaluate(const std::string &script) {
    const auto answer = desktop().session().run(
        {"gdbus", "call", "--session", "--dest", "org.gnome.Shell", "--object-path",
         "/org/gnome/Shell", "--method", "org.gnome.Shell.Eval", "String(" + script + ")"});
    const std::string &text = answer.output;
    const std::size_t start = text.find("'\"");
    const std::size_t end = text.rfind("\"'");
    if (text.find("(true") == std::string::npos || start == std::string::npos || end <= start + 1) {
        return "error: " + text;
    }
    return text.substr(start + 2, end - start - 2);
}

bool GnomeExtensionTest::becomes(const std::string &script, const std::string &expected) {
    const bool isThere = eventually([&] { return evaluate(script) == expected; }, patience());
    EXPECT_EQ(evaluate(script), expected) << script;
    return isThere;
}

void GnomeExtensionTest::setEnabled(bool isEnabled) {
    desktop().session().run(
        {"gnome-extensions", isEnabled ? "enable" : "disable", "lumivera@lumivera.app"});
    becomes(std::string(kObject) + ".state", isEnabled ? "1" : "2");
}

void GnomeExtensionTest::showOverview(bool isShown) {
    // A shell that has just started does not hear the first wishes.
    EXPECT_TRUE(eventually(
        [&] {
            evaluate(isShown ? "Main.overview.show()" : "Main.overview.hide()");
            return evaluate("Main.overview.visible + ' ' + Main.overview.animationInProgress") ==
                   (isShown ? "true false" : "false false");
        },
        patience()));
}

void GnomeExtensionTest::openToolkitWindow(const std::string &how) {
    _window = desktop().start({"gjs", "-c", kWindow, how});
    becomes("global.get_window_actors().some(actor => actor.meta_window.get_title() === 'Cover')",
            "true");
}

void GnomeExtensionTest::closeToolkitWindow() {
    if (_window > 0) {
        desktop().session().signal(std::exchange(_window, -1), SIGTERM);
        becomes(
            "global.get_window_actors().some(actor => actor.meta_window.get_title() === 'Cover')",
            "false");
    }
}

/// What a double click has opened besides.
void GnomeExtensionTest::closeFolders() {
    const std::string folders = "global.get_window_actors().map(actor => actor.meta_window)"
                                ".filter(window => !window.skip_taskbar)";
    EXPECT_TRUE(eventually(
        [&] {
            evaluate(folders + ".forEach(window => window.delete(0))");
            return evaluate(folders + ".length") == "0";
        },
        patience()));
}

TEST_P(GnomeExtensionTest, ShowsTheWallpaperBehindTheIcons) {
    startWallpaper();
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsBackground());
    EXPECT_TRUE(showsIcons());
    EXPECT_TRUE(isConnected());
    photograph("running");
}

TEST_P(GnomeExtensionTest, IsToldOfByTheDoctor) {
    const auto doctor = [this] { return desktop().session().run({"lumivera", "doctor"}); };
    const auto on = doctor();
    EXPECT_EQ(on.status, 0) << on.output;
    EXPECT_NE(on.output.find("ok  GNOME extension: shows"), std::string::npos) << on.output;
    EXPECT_EQ(on.output.find("through Xwayland") != std::string::npos, isOnWayland()) << on.output;
    setEnabled(false);
    EXPECT_NE(doctor().output.find("--  GNOME extension: is off"), std::string::npos);
}

TEST_P(GnomeExtensionTest, ShowsTheWallpaperInTheOverview) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    openToolkitWindow("maximized");
    showOverview(true);
    EXPECT_TRUE(outputBecomes(runs));
    closeToolkitWindow();
    EXPECT_TRUE(showsPetals({400, 200, 480, 400}));
    photograph("overview");
    EXPECT_TRUE(becomes("global.display.get_tab_list(imports.gi.Meta.TabList.NORMAL_ALL, null)"
                        ".some(window => window.get_wm_class() === 'Lumivera')",
                        "false"));
    EXPECT_TRUE(becomes("imports.gi.Shell.AppSystem.get_default().get_running()"
                        ".some(app => /lumivera/i.test(app.get_id()))",
                        "false"));
    showOverview(false);
    EXPECT_TRUE(showsIcons());
}

TEST_P(GnomeExtensionTest, LeavesTheMenuToARightClick) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    const int before = taps();
    const std::string menus =
        "global.get_window_actors().filter(actor => [imports.gi.Meta.WindowType.POPUP_MENU,"
        "imports.gi.Meta.WindowType.DROPDOWN_MENU].includes("
        "actor.meta_window.get_window_type())).length > 0";
    screen().click(desktop().emptyPlace(), 3);
    EXPECT_TRUE(becomes(menus, "true"));
    photograph("menu");
    screen().pressEscape();
    EXPECT_TRUE(becomes(menus, "false"));
    EXPECT_EQ(taps(), before);
}

TEST_P(GnomeExtensionTest, HandsClicksBesideTheIconsOver) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    for (int count = 1; count <= 3; ++count) {
        screen().click(desktop().emptyPlace());
        EXPECT_TRUE(outputBecomes([&](const json &output) { return output["taps"] >= count; }));
        EXPECT_EQ(taps(), count);
    }
    photograph("tapped");
    openToolkitWindow("maximized");
    EXPECT_TRUE(outputBecomes(rests));
    screen().click(desktop().emptyPlace());
    closeToolkitWindow();
    EXPECT_TRUE(outputBecomes(runs));
    EXPECT_EQ(taps(), 3);
}

TEST_P(GnomeExtensionTest, OpensAFileByADoubleClick) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    const auto &icons = desktop().icons();
    EXPECT_TRUE(std::any_of(icons.rbegin(), icons.rend(), [this](const ScreenRect &icon) {
        screen().doubleClick(icon.middle());
        const bool opens = eventually(
            [this] { return desktop().openedFiles().find("hello.txt") != std::string::npos; }, 8);
        closeFolders();
        return opens;
    }));
}

TEST_P(GnomeExtensionTest, LetsItRestBeneathWindows) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    for (const char *how : {"maximized", "full-screen"}) {
        openToolkitWindow(how);
        ASSERT_TRUE(outputBecomes(rests)) << how;
        EXPECT_TRUE(usesNoProcessor()) << how;
        photograph(how);
        closeToolkitWindow();
        ASSERT_TRUE(outputBecomes(runs)) << how;
        EXPECT_TRUE(showsPetals());
    }
    openToolkitWindow("small");
    EXPECT_TRUE(outputBecomes(runs));
}

TEST_P(GnomeExtensionTest, OutlivesTheHost) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    killWallpaper();
    EXPECT_TRUE(becomes(kObject + kConnection, "false"));
    startWallpaper();
    EXPECT_TRUE(isConnected());
    showOverview(true);
    EXPECT_TRUE(showsPetals({400, 200, 480, 400}));
    ASSERT_TRUE(quitWallpaper());
    EXPECT_TRUE(becomes(kObject + kConnection, "false"));
    showOverview(false);
    EXPECT_TRUE(looksAsAtFirst());
}

TEST_P(GnomeExtensionTest, OutlivesTheLockScreen) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    openToolkitWindow("maximized");
    ASSERT_TRUE(outputBecomes(rests));
    evaluate("Main.sessionMode.pushMode('unlock-dialog')");
    EXPECT_TRUE(becomes(std::string(kObject) + ".state", "2"));
    if (isOnWayland()) {
        EXPECT_TRUE(outputBecomes(runs)) << "what it told is void";
    }
    evaluate("Main.sessionMode.popMode('unlock-dialog')");
    EXPECT_TRUE(becomes(std::string(kObject) + ".state", "1"));
    EXPECT_TRUE(isConnected());
    EXPECT_TRUE(outputBecomes(rests));
}

TEST_P(GnomeExtensionTest, LeavesNothingBehindWhenItIsOff) {
    startWallpaper();
    ASSERT_TRUE(isConnected());
    setEnabled(false);
    EXPECT_TRUE(becomes("[imports.ui.background.BackgroundManager.prototype._createBackgroundActor,"
                        "imports.ui.workspaceThumbnail.ThumbnailsBox.prototype.addThumbnails,"
                        "imports.ui.workspaceAnimation.WorkspaceGroup.prototype._shouldShowWindow]"
                        ".some(method => method.toString().includes('mirrors'))",
                        "false"));
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    showOverview(true);
    EXPECT_TRUE(desktop().comesToRest()) << "the overview still shows petals";
    photograph("overview");
    setEnabled(true);
    EXPECT_TRUE(isConnected());
    EXPECT_TRUE(showsPetals({400, 200, 480, 400})) << "the overview was there before";
    showOverview(false);
}

TEST_P(GnomeExtensionTest, ComesBackWithTheShell) {
    if (isOnWayland()) {
        GTEST_SKIP() << "the session ends with the shell";
    }
    startWallpaper();
    ASSERT_TRUE(isConnected());
    evaluate("global.isBefore = true");
    evaluate("imports.gi.Meta.restart(null, global.context)");
    EXPECT_TRUE(becomes("global.isBefore", "undefined"));
    EXPECT_TRUE(becomes(std::string(kObject) + ".state", "1"));
    showOverview(false);
    EXPECT_TRUE(isConnected());
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    photograph("restarted");
}

TEST_P(GnomeExtensionTest, GivesTheDesktopBack) {
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    ASSERT_TRUE(quitWallpaper());
    EXPECT_TRUE(looksAsAtFirst());
}

INSTANTIATE_TEST_SUITE_P(GNOMEOnX11, GnomeExtensionTest,
                         ::testing::Values(desktopKind("GNOMEOnX11")));
INSTANTIATE_TEST_SUITE_P(GNOMEOnWayland, GnomeExtensionTest,
                         ::testing::Values(desktopKind("GNOMEOnWayland")));

} // namespace
