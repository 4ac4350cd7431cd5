#include "Host/Support/HostError.h"
#include "Tests/Host/Displays/X11/X11DesktopTest.h"
#include "Tests/Host/Programs/ProgramRun.h"

#include <unistd.h>

using namespace Lumivera;

namespace {

class X11Picture : public X11DesktopTest {
  protected:
    /// How many pixels of the screen differ from what was drawn.
    std::size_t wrongPixels(std::uint32_t salt) {
        const auto image = picture();
        if (!image) {
            return std::string::npos;
        }
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < image->width() * image->height(); ++i) {
            const int x = static_cast<int>(i % image->width());
            const int y = static_cast<int>(i / image->width());
            wrong += image->pixels()[i] == SurfaceOwner::colorAt(x, y, salt) ? 0 : 1;
        }
        return wrong;
    }

    std::string describe(const std::string &property) {
        return screen->run("xprop -name Lumivera " + property);
    }
};

TEST_F(X11Picture, HasTheColorsThatWereDrawn) {
    startScreen();
    openWithPicture();
    EXPECT_EQ(wrongPixels(1), 0u);
}

TEST_F(X11Picture, HasTheSameColorsWhereTheServerSharesNoMemory) {
    startScreen("1600x1200x24", {"-extension", "MIT-SHM"});
    openWithPicture();
    EXPECT_EQ(wrongPixels(1), 0u);
    for (std::uint32_t salt = 2; salt < 6; ++salt) {
        owner().showAll(salt);
        ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    }
    EXPECT_EQ(wrongPixels(5), 0u);
}

TEST_F(X11Picture, ShowsOnlyThePartsThatAreSaidToBeNew) {
    startScreen();
    openWithPicture();
    owner().show({100, 50, 300, 200}, 9);
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    const auto image = picture();
    EXPECT_EQ(image->pixels()[50 * 800 + 100], SurfaceOwner::colorAt(100, 50, 9));
    EXPECT_EQ(image->pixels()[199 * 800 + 299], SurfaceOwner::colorAt(299, 199, 9));
    EXPECT_EQ(image->pixels()[200 * 800 + 300], SurfaceOwner::colorAt(300, 200, 1));
    EXPECT_EQ(image->pixels()[49 * 800 + 99], SurfaceOwner::colorAt(99, 49, 1));
}

TEST_F(X11Picture, WantsTheNextPictureAlsoAfterOneWithoutNews) {
    startScreen();
    openWithPicture();
    owner().show({}, 1);
    EXPECT_TRUE(served([this] { return owner().wanted.has_value(); }));
}

TEST_F(X11Picture, WantsNothingOfMemoryThatWasReplaced) {
    startScreen();
    openWithPicture();
    owner().showAll(2);
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().showAll(3);
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    EXPECT_EQ(wrongPixels(3), 0u);
}

TEST_F(X11Picture, LiesBehindWindowsAndComesBackFromUnderThem) {
    startScreen();
    openWithPicture();
    const std::string window = openWindow("Red", "40x12+100+100");
    EXPECT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
    EXPECT_EQ(pixel(90, 90), SurfaceOwner::colorAt(90, 90, 1));
    xdotool("windowunmap " + window);
    EXPECT_TRUE(served([this] { return wrongPixels(1) == 0; }));
}

TEST_F(X11Picture, LiesBehindTheWindowsOfAWindowManager) {
    startScreen();
    startWindowManager();
    openWindow("Red", "40x12+100+100");
    openWithPicture();
    EXPECT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
    xdotool("mousemove 600 500 click 1");
    EXPECT_TRUE(served([this] { return owner().taps.size() == 1; }));
    EXPECT_EQ(pixel(200, 200), 0xffff0000);
}

TEST_F(X11Picture, LiesBehindWindowsThatACompositingManagerPutsTogether) {
    startScreen();
    startWindowManager();
    screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    ASSERT_TRUE(eventually(
        [this] { return screen->run("xwininfo -root -tree").find("picom") != std::string::npos; }));
    openWithPicture();
    openWindow("Red", "40x12+100+100");
    EXPECT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
    EXPECT_EQ(pixel(20, 20), SurfaceOwner::colorAt(20, 20, 1));
}

TEST_F(X11Picture, GoesBeneathAWindowThatWasLoweredUnderIt) {
    startScreen();
    openWithPicture();
    const std::string window = openWindow("Red", "40x12+100+100");
    ASSERT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
    xdotool("windowlower " + window);
    EXPECT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
}

TEST_F(X11Picture, TellsWindowManagersWhatItIs) {
    startScreen();
    openWithPicture();
    EXPECT_NE(describe("_NET_WM_WINDOW_TYPE").find("_NET_WM_WINDOW_TYPE_DESKTOP"),
              std::string::npos);
    EXPECT_NE(describe("_NET_WM_STATE")
                  .find("_NET_WM_STATE_BELOW, _NET_WM_STATE_STICKY, "
                        "_NET_WM_STATE_SKIP_TASKBAR, _NET_WM_STATE_SKIP_PAGER"),
              std::string::npos);
    EXPECT_NE(describe("_NET_WM_DESKTOP").find("4294967295"), std::string::npos);
    EXPECT_NE(describe("WM_CLASS").find("\"lumivera\", \"Lumivera\""), std::string::npos);
    EXPECT_NE(describe("_NET_WM_PID").find(std::to_string(getpid())), std::string::npos);
    EXPECT_NE(describe("WM_HINTS").find("Client accepts input or input focus: False"),
              std::string::npos);
}

TEST_F(X11Picture, HearsTapsAndSidewaysScrollingInPoints) {
    startScreen();
    openWithPicture({LayerChoice::Automatic, 2});
    xdotool("mousemove 300 200 click 1");
    ASSERT_TRUE(served([this] { return !owner().taps.empty(); }));
    EXPECT_EQ(owner().taps[0].x, 150);
    EXPECT_EQ(owner().taps[0].y, 100);
    xdotool("click 7 click 7 click 6");
    EXPECT_TRUE(served([this] { return owner().scrollingEnds == 3; }));
    EXPECT_EQ(owner().scrolled, -20);
    for (const char *step : {"mousedown 1", "mousemove 340 200", "mouseup 1"}) {
        xdotool(step);
        NSRunLoop::mainRunLoop().runForSeconds(0.1);
    }
    EXPECT_TRUE(served([this] { return owner().scrollingEnds == 4; }));
    EXPECT_EQ(owner().scrolled, 0);
    EXPECT_EQ(owner().taps.size(), 1u);
}

TEST_F(X11Picture, SeesClicksAndLeavesThemToOthers) {
    startScreen();
    const TemporaryFolder folder;
    const std::string heard = folder.pathOf("heard");
    screen->start({"sh", "-c", "exec stdbuf -oL xev -root -event button > " + heard});
    openWithPicture();
    EXPECT_TRUE(served([&] {
        xdotool("mousemove 300 200 click 1");
        return contentsOf(heard).find("ButtonPress") != std::string::npos && !owner().taps.empty();
    }));
}

TEST_F(X11Picture, HearsNothingOfClicksOnWindows) {
    startScreen();
    startWindowManager();
    openWithPicture();
    openWindow("Red", "40x12+100+100");
    ASSERT_TRUE(served([this] { return pixel(200, 200) == 0xffff0000; }));
    xdotool("mousemove 200 200 click 1 click 7");
    NSRunLoop::mainRunLoop().runForSeconds(0.2);
    xdotool("mousemove 600 500 click 1");
    EXPECT_TRUE(served([this] { return !owner().taps.empty(); }));
    ASSERT_EQ(owner().taps.size(), 1u);
    EXPECT_EQ(owner().taps[0].x, 600);
    EXPECT_EQ(owner().scrollingEnds, 0);
}

TEST_F(X11Picture, TakesTheButtonsAsTheirUserHasOrderedThem) {
    startScreen();
    openWithPicture();
    screen->run("xmodmap -e 'pointer = 3 2 1'");
    NSRunLoop::mainRunLoop().runForSeconds(0.1);
    xdotool("mousemove 100 100 click 3");
    EXPECT_TRUE(served([this] { return owner().taps.size() == 1; }));
    xdotool("click 1 click 3");
    EXPECT_TRUE(served([this] { return owner().taps.size() == 2; }));
}

TEST_F(X11Picture, TellsOnceThatTheServerHasGone) {
    startScreen();
    openWithPicture();
    screen->end();
    EXPECT_TRUE(served([this] { return !losses.empty(); }));
    owner().showAll(2);
    owner().giveMemory();
    NSRunLoop::mainRunLoop().runForSeconds(0.2);
    EXPECT_EQ(losses.size(), 1u);
}

TEST_F(X11Picture, SaysThatThereIsNoServer) {
    waiter.emplace();
    setenv("DISPLAY", ":77777", 1);
    EXPECT_THROW(Desktop(*waiter, {}), HostError);
    unsetenv("DISPLAY");
    EXPECT_THROW(Desktop(*waiter, {}), HostError);
}

TEST_F(X11Picture, SaysThatTheScreenHasTooFewColors) {
    startScreen("800x600x16");
    waiter.emplace();
    EXPECT_THROW(Desktop(*waiter, {}), HostError);
}

} // namespace
