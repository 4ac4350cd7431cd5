#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include <ctime>

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

} // namespace
