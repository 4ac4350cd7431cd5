#include "Tests/Host/Displays/X11/X11Client.h"
#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include <ctime>
#include <xcb/xcb.h>

using namespace Lumivera;

namespace {

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

class X11Visibility : public X11DesktopTest {
  protected:
    void begin() {
        startScreen();
        startWindowManager();
        openWithPicture();
    }

    /// Makes the window and its twin cover the whole screen.
    std::string openHalf(const std::string &title, int left) {
        const std::string window = openWindow(title, "20x10+50+50");
        xdotool("windowsize --sync " + window + " 500 700");
        xdotool("windowmove " + window + " " + std::to_string(left) + " -40");
        return window;
    }
};

TEST_F(X11Visibility, IsGivenToEverythingAtFirst) {
    begin();
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    EXPECT_EQ(owner().visibilityChanges, 0);
}

TEST_F(X11Visibility, IsLostToAFullScreenWindowUntilItGoes) {
    begin();
    const std::string window = openWindow("Film", "20x10+50+50", {"-fullscreen"});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
    EXPECT_GT(owner().visibilityChanges, 0);
    xdotool("windowkill " + window);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11Visibility, IsLostWhereTwoWindowsCoverEverythingTogether) {
    begin();
    openHalf("Left", -60);
    const std::string right = openHalf("Right", 400);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    xdotool("windowmove " + right + " 460 -40");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    xdotool("windowmove " + right + " 400 -40");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    xdotool("windowminimize " + right);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    xdotool("windowmap " + right);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    xdotool("windowkill " + right);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11Visibility, StaysBeneathTranslucentWindows) {
    begin();
    const std::string window = openWindow("Film", "20x10+50+50", {"-fullscreen"});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
    screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    ASSERT_TRUE(eventually(
        [this] { return screen->run("xwininfo -root -tree").find("picom") != std::string::npos; }));
    screen->run("xprop -id " + window +
                " -f _NET_WM_WINDOW_OPACITY 32c -set _NET_WM_WINDOW_OPACITY 0x7fffffff");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    screen->run("xprop -id " + window + " -remove _NET_WM_WINDOW_OPACITY");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
}

TEST_F(X11Visibility, ComesBackOnAnotherWorkspace) {
    begin();
    openWindow("Film", "20x10+50+50", {"-fullscreen"});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
    xdotool("set_desktop 1");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    xdotool("set_desktop 0");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
}

TEST_F(X11Visibility, IsLostWithoutAWindowManagerToo) {
    startScreen();
    openWithPicture();
    const std::string window = openWindow("Wide", "20x10+0+0");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    xdotool("windowsize " + window + " 800 600");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    xdotool("windowsize " + window + " 800 570");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11Visibility, SurvivesTheEndOfTheWindowManager) {
    startScreen();
    const pid_t manager = startWindowManager();
    openWithPicture();
    openWindow("Film", "20x10+50+50", {"-fullscreen"});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
    screen->end(manager);
    EXPECT_TRUE(
        served([this] { return owner().surface.visibility() != SurfaceVisibility::FullScreen; }));
}

TEST_F(X11Visibility, IsLostToABlankScreenUntilSomebodyMovesTheMouse) {
    begin();
    screen->run("xset s activate");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Off));
    EXPECT_EQ(owner().visibilityChanges, 1);
    xdotool("mousemove 5 5");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    EXPECT_EQ(owner().visibilityChanges, 2);
}

TEST_F(X11Visibility, IsLostToABlankScreenWhateverTheWindows) {
    begin();
    openWindow("Film", "20x10+50+50", {"-fullscreen"});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
    screen->run("xset s activate");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Off));
    screen->run("xset s reset");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
}

TEST_F(X11Visibility, IsNotThereOnAScreenThatIsBlankAlready) {
    startScreen();
    screen->run("xset s activate");
    open();
    EXPECT_EQ(owner().surface.visibility(), SurfaceVisibility::Off);
    screen->run("xset s reset");
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11Visibility, StaysWhereTheScreenSaverDoesNotBlank) {
    begin();
    screen->run("xset s noblank");
    screen->run("xset s activate");
    openWindow("Film", "20x10+50+50", {"-fullscreen"});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::FullScreen));
}

/// Nothing happens meanwhile, so any processor time would be spent on polling.
TEST_F(X11Visibility, CostsNothingWhileNothingChanges) {
    begin();
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    const double before = processorSeconds();
    NSRunLoop::mainRunLoop().runForSeconds(2);
    EXPECT_LT(processorSeconds() - before, 0.005);
}

/// Beneath windows of another program, at exact places.
class X11VisibilityBeneath : public X11DesktopTest {
  protected:
    void SetUp() override {
        startScreen();
        openWithPicture();
        client.emplace();
    }

    void TearDown() override {
        client.reset();
        X11DesktopTest::TearDown();
    }

    std::uint32_t openNormal(const DeviceRect &area) { return client->open({.area = area}); }

    std::uint32_t openMaximized(const DeviceRect &area) {
        const std::uint32_t window = client->create({.area = area});
        client->setAtoms(window, "_NET_WM_STATE", {kHorizontally, kVertically});
        client->show(window);
        return window;
    }

    /// A panel at the bottom that is 30 pixels high and could be transparent.
    std::uint32_t openPanel(std::uint32_t reserved) {
        const std::uint32_t panel =
            client->create({.area = {0, 570, 800, 600}, .depth = 32, .type = "DOCK"});
        if (reserved != 0) {
            client->set(panel, "_NET_WM_STRUT_PARTIAL",
                        {0, 0, 0, reserved, 0, 0, 0, 0, 0, 0, 0, 799});
        }
        client->show(panel);
        return panel;
    }

    /// While windows are blended, the server does not say that one is hidden.
    void startBlending() {
        screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
        ASSERT_TRUE(served([this] { return client->hasOwner("_NET_WM_CM_S0"); }));
    }

    /// Tells what the manager leaves to windows, on the first workspace and on the second.
    void setWorkAreas(const std::vector<std::uint32_t> &areas) {
        client->set(client->root(), "_NET_WORKAREA", areas);
    }

    static constexpr const char *kHorizontally = "_NET_WM_STATE_MAXIMIZED_HORZ";
    static constexpr const char *kVertically = "_NET_WM_STATE_MAXIMIZED_VERT";

    std::optional<X11Client> client;
};

TEST_F(X11VisibilityBeneath, IsLostToAWindowAndAPanelThatReservesTheRest) {
    openNormal({0, 0, 800, 570});
    const std::uint32_t panel = openPanel(30);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->set(panel, "_NET_WM_STRUT_PARTIAL", {});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->set(panel, "_NET_WM_STRUT", {0, 0, 0, 30});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
}

TEST_F(X11VisibilityBeneath, IsLostToNoMoreOfAPanelThanItReserves) {
    openNormal({0, 0, 800, 570});
    const std::uint32_t panel = openPanel(10);
    const std::uint32_t gone = openNormal({0, 500, 800, 600});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->close(gone);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->set(panel, "_NET_WM_STRUT_PARTIAL", {0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 500});
    client->set(panel, "_NET_WM_STRUT", {0, 0, 0, 30});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible)) << "it reserves the left part";
}

TEST_F(X11VisibilityBeneath, IsLostToTheOpaqueRegionOfAPanel) {
    openNormal({0, 0, 800, 570});
    const std::uint32_t panel = openPanel(0);
    client->set(panel, "_NET_WM_OPAQUE_REGION", {0, 0, 800, 30});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->set(panel, "_NET_WM_OPAQUE_REGION", {0, 0, 400, 30});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->set(panel, "_NET_WM_OPAQUE_REGION", {0, 0, 400, 30, 400, 0, 0x7fffffff, 0xffffffff});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->set(panel, "_NET_WM_OPAQUE_REGION", {0, 0, 800});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11VisibilityBeneath, IsLostInGapsThatAreTooNarrowForAPetal) {
    openNormal({0, 0, 400, 592});
    const std::uint32_t narrow = openNormal({416, 8, 800, 600});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->close(narrow);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    for (const DeviceRect &wider : {DeviceRect{417, 8, 800, 600}, DeviceRect{416, 9, 800, 600}}) {
        const std::uint32_t covering = openNormal({0, 0, 800, 600});
        ASSERT_TRUE(isVisibility(SurfaceVisibility::Covered));
        const std::uint32_t window = openNormal(wider);
        client->close(covering);
        EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
        client->close(window);
    }
}

TEST_F(X11VisibilityBeneath, IsLostWhereTheManagerReservesAnEdgeWithoutAPanel) {
    const std::uint32_t window = openMaximized({0, 30, 800, 600});
    client->pretendToManage("GNOME Shell", {window});
    setWorkAreas({0, 30, 800, 570});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->setAtoms(window, "_NET_WM_STATE", {kHorizontally});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->setAtoms(window, "_NET_WM_STATE", {kVertically, kHorizontally});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    setWorkAreas({0, 0, 800, 600});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

TEST_F(X11VisibilityBeneath, StaysBesideAPanelOnTheReservedEdge) {
    const std::uint32_t window = openMaximized({0, 0, 800, 570});
    const std::uint32_t panel = openPanel(0);
    client->pretendToManage("Openbox", {window, panel});
    setWorkAreas({0, 0, 800, 570});
    client->set(client->root(), "_NET_CURRENT_DESKTOP", {0});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->pretendToManage("Openbox", {window});
    client->close(panel);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
}

TEST_F(X11VisibilityBeneath, FollowsTheWorkspacesAndWhatEachReserves) {
    const std::uint32_t window = openMaximized({0, 30, 800, 600});
    client->pretendToManage("GNOME Shell", {window});
    setWorkAreas({0, 30, 800, 570, 0, 0, 800, 600});
    const auto go = [this](std::uint32_t workspace) {
        client->set(client->root(), "_NET_CURRENT_DESKTOP", {workspace});
    };
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    go(1);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible)) << "nothing is reserved";
    go(7);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered)) << "as on the first";
    client->set(window, "_NET_WM_DESKTOP", {0});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible)) << "the window is elsewhere";
    go(0);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
}

TEST_F(X11VisibilityBeneath, ComesBackWhileTheDesktopIsShown) {
    startBlending();
    const std::uint32_t window = openNormal({0, 0, 800, 600});
    client->pretendToManage("Mutter", {window});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->set(client->root(), "_NET_SHOWING_DESKTOP", {1});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    client->set(client->root(), "_NET_SHOWING_DESKTOP", {0});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
}

TEST_F(X11VisibilityBeneath, IsLostToOpaqueIconsThatAManagerKeepsAbove) {
    startBlending();
    client->refuseWishes();
    const std::uint32_t icons = client->open({.type = "DESKTOP"});
    client->pretendToManage("Mutter", {icons});
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    // The surface wants to go above them.
    ASSERT_TRUE(served([this] { return owner().geometryChanges == 1; }));
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().showAll(1);
    ASSERT_TRUE(served([&] {
        client->count(XCB_MAP_REQUEST, 0);
        return client->lumiverasWindows().size() == 1;
    }));
    client->raise(icons);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->raise(client->lumiverasWindows().at(0));
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
}

} // namespace
