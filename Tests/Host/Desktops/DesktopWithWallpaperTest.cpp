#include "Tests/Host/Desktops/RealDesktopTest.h"

#include "Tests/Host/Desktops/TouchScreen.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <algorithm>
#include <chrono>
#include <thread>

// What a person has with Lumivera: everything as before, and petals.

using nlohmann::json;

TEST_P(RealDesktopTest, ShowsPetals) {
    startWallpaper();
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsBackground());
    photograph("running");
}

TEST_P(RealDesktopTest, KeepsTheIconsVisible) {
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    ASSERT_TRUE(showsBackground());
    EXPECT_TRUE(showsIcons());
    photograph("running");
}

TEST_P(RealDesktopTest, StaysBehindWindowsAndPanels) {
    const ScreenPicture before = screen().picture();
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    const ScreenRect all = screen().bounds();
    const ScreenRect area = screen().workArea();
    // Clocks and lists of windows may change in a panel.
    for (const ScreenRect &panel :
         {ScreenRect{0, 0, all.width, area.y},
          ScreenRect{0, area.bottom(), all.width, all.height - area.bottom()}}) {
        if (panel.height > 0) {
            EXPECT_GT(screen().picture().sharedWith(before, panel), 0.85) << "at y = " << panel.y;
        }
    }
    const auto window = openWindow();
    for (int count = 0; count < 10; ++count) {
        EXPECT_TRUE(isWhole(window));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    photograph("window");
}

TEST_P(RealDesktopTest, OpensAFileByADoubleClick) {
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    ASSERT_TRUE(findTextFile());
    startWallpaper();
    EXPECT_TRUE(opensTheTextFile());
}

TEST_P(RealDesktopTest, OpensTheMenuByARightClick) {
    if (!GetParam().hasMenu) {
        GTEST_SKIP() << "has no menu";
    }
    startWallpaper();
    EXPECT_TRUE(opensTheMenu());
}

TEST_P(RealDesktopTest, HearsAClickBesideTheIconsButNoneOnWindows) {
    startWallpaper();
    ASSERT_GE(taps(), 0) << "the status does not count taps";
    const int before = taps();
    const ScreenRect area = screen().workArea();
    const auto window = openWindow({area.x + 200, area.y + 150, 300, 200});
    screen().click(screen().rectOf(window).middle());
    // The click has happened when the server answers, and the host has seen it when that answers.
    EXPECT_TRUE(screen().isShown(window));
    EXPECT_EQ(taps(), before);
    screen().closeWindow(window);
    EXPECT_TRUE(eventually([&] { return !screen().isShown(window); }));
    screen().click(desktop().emptyPlace());
    EXPECT_TRUE(eventually([&] { return taps() > before; }, 20));
    EXPECT_EQ(taps(), before + 1);
    photograph("tapped");
}

TEST_P(RealDesktopTest, HearsATouchOnceButNoneOnWindows) {
    startWallpaper();
    const int before = taps();
    TouchScreen touchScreen(desktop().touchSocket(), screen().bounds());
    const ScreenRect area = screen().workArea();
    const auto window = openWindow({area.x + 200, area.y + 150, 300, 200});
    ASSERT_TRUE(touchScreen.touch(screen().rectOf(window).middle()));
    EXPECT_TRUE(screen().isShown(window));
    EXPECT_EQ(taps(), before);
    screen().closeWindow(window);
    EXPECT_TRUE(eventually([&] { return !screen().isShown(window); }));
    ASSERT_TRUE(touchScreen.touch(desktop().emptyPlace()));
    EXPECT_TRUE(eventually([&] { return taps() > before; }, 20));
    closeMenus(); // some window managers open one
    ASSERT_TRUE(touchScreen.touch(desktop().emptyPlace()));
    EXPECT_TRUE(eventually([&] { return taps() > before + 1; }, 20));
    EXPECT_EQ(taps(), before + 2);
}

TEST_P(RealDesktopTest, RestsUnderAMaximizedWindow) {
    startWallpaper();
    const auto window = openWindow();
    maximize(window);
    expectRestUntilClosed(window, "maximized");
}

TEST_P(RealDesktopTest, RestsUnderAFullScreenWindow) {
    startWallpaper();
    const auto window = openWindow();
    makeFullScreen(window);
    expectRestUntilClosed(window, "full-screen");
}

TEST_P(RealDesktopTest, GivesTheDesktopBackWhenItQuits) {
    const std::string setting = desktop().setting();
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    ASSERT_TRUE(showsBackground());
    ASSERT_TRUE(quitWallpaper());
    EXPECT_TRUE(looksAsAtFirst());
    EXPECT_EQ(desktop().setting(), setting);
    photograph("afterwards");
}

TEST_P(RealDesktopTest, GivesTheDesktopBackAfterACrash) {
    const std::string setting = desktop().setting();
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    ASSERT_TRUE(showsBackground());
    killWallpaper();
    photograph("crashed");
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    ASSERT_TRUE(showsBackground());
    ASSERT_TRUE(quitWallpaper());
    EXPECT_TRUE(looksAsAtFirst());
    EXPECT_EQ(desktop().setting(), setting);
    photograph("afterwards");
}

TEST_P(RealDesktopTest, IsOnEveryWorkspace) {
    if (workspaceCount() < 2) {
        GTEST_SKIP() << "has one workspace";
    }
    startWallpaper();
    const auto window = openWindow();
    ASSERT_TRUE(switchToWorkspace(1));
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    photograph("second-workspace");
    ASSERT_TRUE(switchToWorkspace(0));
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
    screen().closeWindow(window);
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    photograph("back");
}

TEST_P(RealDesktopTest, StaysWhenTheDesktopIsShown) {
    if (!screen().supports("_NET_SHOWING_DESKTOP")) {
        GTEST_SKIP() << "has no way to show the desktop";
    }
    startWallpaper();
    const auto window = openWindow();
    ASSERT_TRUE(setShowingDesktop(true));
    EXPECT_TRUE(eventually([&] { return !isWhole(window); }));
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
    photograph("shown");
    ASSERT_TRUE(setShowingDesktop(false));
    EXPECT_TRUE(eventually([&] { return isWhole(window); }));
    screen().closeWindow(window);
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsIcons());
}

TEST_P(RealDesktopTest, OutlivesTheFileManager) {
    if (!GetParam().drawsIcons()) {
        GTEST_SKIP() << "draws no icons";
    }
    startWallpaper();
    ASSERT_TRUE(showsPetals());
    ASSERT_TRUE(restartFileManager());
    EXPECT_TRUE(showsIcons());
    EXPECT_TRUE(showsPetals());
    EXPECT_TRUE(showsBackground());
    photograph("restarted");
}

// The last one, because some desktops move their icons and panels for it.
TEST_P(RealDesktopTest, ShowsPetalsOnTwoMonitors) {
    desktop().server().showTwoMonitors();
    ASSERT_TRUE(eventually(
        [this] {
            closeForeignWindows(); // some desktops ask how to use a new monitor
            return monitors().size() == 2 && desktop().comesToRest() &&
                   (!GetParam().drawsIcons() ||
                    desktop().findIcons().size() >= RealDesktop::kThingsOnTheDesktop);
        },
        patience()))
        << "the desktop itself shows no icons on two monitors";
    const auto icons = desktop().findIcons();
    const ScreenPicture before = screen().picture();
    startWallpaper();
    EXPECT_TRUE(eventually([this] { return outputs().size() == 2; }));
    for (const ScreenRect &monitor : monitors()) {
        EXPECT_TRUE(showsPetals({monitor.x + 40, monitor.y + 200, monitor.width - 80, 500}))
            << "on the monitor at " << monitor.x;
    }
    photograph("two-monitors");
    EXPECT_TRUE(eventually([&] {
        const ScreenPicture now = screen().picture();
        return std::all_of(icons.begin(), icons.end(), [&](const ScreenRect &icon) {
            return before.shareKept(now, icon, RealDesktop::kColour) > 0.6;
        });
    })) << "icons are hidden";
    for (const ScreenRect &monitor : monitors()) {
        EXPECT_TRUE(eventually([&] { return before.sharedWith(screen().picture(), monitor) < 0.5; },
                               patience()))
            << "the own background stays on the monitor at " << monitor.x;
    }
    ASSERT_TRUE(quitWallpaper());
    desktop().server().showOneMonitor();
}
