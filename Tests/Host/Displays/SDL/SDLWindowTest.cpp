#include "Host/Displays/SDL/SDLWindow.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"
#include "Tests/Host/Programs/ProgramRun.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace Lumivera;

namespace {

/// The window on an X11 screen.
class SDLWindowTest : public X11ScreenTest, protected Window::Listener {
  protected:
    void SetUp() override {
        unsetenv("WAYLAND_DISPLAY");
        unsetenv("SDL_VIDEODRIVER");
    }

    void TearDown() override {
        NSRunLoop::mainRunLoop().setWaiter(nullptr);
        window.reset();
        X11ScreenTest::TearDown();
    }

    void open(std::optional<CGFloat> density = {}) {
        window.emplace(CGSize{400, 300}, density,
                       "Petals, \xC3\xA9"
                       "clat",
                       "");
        window->setListener(this);
        NSRunLoop::mainRunLoop().setWaiter(&*window);
        number = screen->run("xdotool search --name '^Petals, .*clat$'");
        number.resize(std::strcspn(number.c_str(), "\n"));
        ASSERT_NE(number, "");
    }

    /// Fills the window with one color and waits until the screen shows it.
    void fill(std::uint32_t color) {
        draw(color);
        ASSERT_TRUE(served([&] { return windowPixel(30, 30) == color; }));
    }

    void draw(std::uint32_t color) {
        window->present([&](const CompositorTarget &target) -> const std::vector<DeviceRect> & {
            age = target.age;
            std::fill_n(target.pixels, target.width * target.height, color);
            rects = {{0, 0, static_cast<int>(target.width), static_cast<int>(target.height)}};
            return rects;
        });
    }

    std::uint32_t windowPixel(std::size_t x, std::size_t y) {
        const std::string path = _folder.pathOf("window.png");
        screen->run("import -window " + number + " png:" + path);
        const std::string bytes = contentsOf(path);
        const auto image = CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
        return image && x < image->width() && y < image->height()
                   ? image->pixels()[y * image->width() + x]
                   : 0;
    }

    std::string property(const std::string &name) {
        return screen->run("xprop -id " + number + " " + name);
    }

    void focus() { xdotool("windowfocus --sync " + number); }

    void pointAt(int x, int y) {
        xdotool("mousemove --window " + number + " " + std::to_string(x) + " " + std::to_string(y));
    }

    std::size_t count(WindowKey key) const {
        return static_cast<std::size_t>(std::count(keys.begin(), keys.end(), key));
    }

    void windowResized() override { ++resizes; }
    void windowVisibilityChanged() override { ++visibilityChanges; }
    void windowNeedsPicture() override { ++wishes; }
    void windowClosed() override { ++closings; }
    void tapped(CGPoint point) override { taps.push_back(point); }
    void scrolledBy(CGFloat distance) override { sideways.push_back(distance); }
    void scrollingEnded() override {}
    void scrolledDownBy(CGFloat distance) override { scrolls.push_back(distance); }
    void keyPressed(WindowKey key) override { keys.push_back(key); }

    std::optional<SDLWindow> window;
    std::string number;
    std::vector<DeviceRect> rects;
    std::vector<WindowKey> keys;
    std::vector<CGPoint> taps;
    std::vector<CGFloat> scrolls;
    std::vector<CGFloat> sideways;
    unsigned age = 9;
    int resizes = 0;
    int visibilityChanges = 0;
    int wishes = 0;
    int closings = 0;

  private:
    TemporaryFolder _folder;
};

TEST_F(SDLWindowTest, ShowsWhatIsDrawnAndKeepsIt) {
    startScreen();
    open();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->size().width, 400);
    EXPECT_EQ(window->size().height, 300);
    NSRunLoop::mainRunLoop().runForSeconds(0.2); // what the window's coming brings about
    fill(0xff123456);
    EXPECT_EQ(age, 0u);
    fill(0xff654321);
    EXPECT_EQ(age, 1u);
    EXPECT_EQ(windowPixel(399, 299), 0xff654321);
}

TEST_F(SDLWindowTest, SaysWhoseWindowItIs) {
    startScreen();
    open();
    EXPECT_NE(property("WM_CLASS").find("\"lumivera\", \"Lumivera\""), std::string::npos);
    EXPECT_NE(property("_NET_WM_PID").find(std::to_string(getpid())), std::string::npos);
    EXPECT_NE(property("WM_CLIENT_MACHINE").find('"'), std::string::npos);
    window->setTitle("Others");
    EXPECT_TRUE(served([&] {
        return property("_NET_WM_NAME").find("Others") != std::string::npos &&
               property("WM_NAME").find("Others") != std::string::npos;
    }));
}

TEST_F(SDLWindowTest, LeavesTheDesktopItsEffects) {
    startScreen();
    open();
    EXPECT_EQ(property("_NET_WM_BYPASS_COMPOSITOR").find(" = 1"), std::string::npos);
}

TEST_F(SDLWindowTest, HasADensityOfPixelsAPoint) {
    startScreen();
    open(1.5);
    EXPECT_EQ(window->size().width, 400);
    fill(0xff123456);
    EXPECT_EQ(windowPixel(599, 449), 0xff123456);
    pointAt(300, 150);
    xdotool("click 1");
    ASSERT_TRUE(served([&] { return !taps.empty(); }));
    EXPECT_EQ(taps[0].x, 200);
    EXPECT_EQ(taps[0].y, 100);
}

TEST_F(SDLWindowTest, TakesTheDensityThatTheDesktopsSettingsSay) {
    startScreen("1600x1200x24");
    screen->run("sh -c 'echo Xft.dpi: 192 | xrdb -merge -nocpp'");
    open();
    EXPECT_EQ(window->density(), 2);
    EXPECT_EQ(window->size().width, 400);
    fill(0xff123456);
    EXPECT_EQ(windowPixel(799, 599), 0xff123456);
}

TEST_F(SDLWindowTest, TakesAnotherSize) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("windowsize " + number + " 500 200");
    ASSERT_TRUE(served([&] { return resizes > 0; }));
    EXPECT_EQ(window->size().width, 500);
    EXPECT_EQ(window->size().height, 200);
    fill(0xff654321);
    EXPECT_EQ(age, 0u);
    EXPECT_EQ(windowPixel(499, 199), 0xff654321);
}

TEST_F(SDLWindowTest, IsNotVisibleWhileItIsMinimised) {
    startScreen();
    startWindowManager();
    open();
    ASSERT_TRUE(served([&] {
        xdotool("windowminimize " + number);
        return !window->isVisible();
    }));
    EXPECT_GT(visibilityChanges, 0);
    visibilityChanges = 0;
    xdotool("windowactivate " + number);
    EXPECT_TRUE(served([&] { return window->isVisible(); }));
    EXPECT_GT(visibilityChanges, 0);
}

TEST_F(SDLWindowTest, IsNotVisibleBehindAnotherWindow) {
    startScreen();
    open();
    fill(0xff123456);
    visibilityChanges = 0;
    const std::string other = openWindow("Red", "20x10+0+0");
    xdotool("windowmove " + other + " 0 0 windowsize " + other + " 800 600");
    EXPECT_TRUE(served([&] { return !window->isVisible(); }));
    EXPECT_EQ(visibilityChanges, 1);
    const int before = wishes;
    xdotool("windowmove " + other + " 410 0");
    EXPECT_TRUE(served([&] { return window->isVisible() && wishes > before; }));
    EXPECT_EQ(visibilityChanges, 2);
    draw(0xff123456);
    EXPECT_TRUE(served([&] { return windowPixel(5, 30) == 0xff123456; }));
}

TEST_F(SDLWindowTest, FillsTheScreenWhenAskedToAndStaysWhenAnotherWindowIsWorkedIn) {
    startScreen();
    startWindowManager();
    open();
    window->toggleFullScreen();
    EXPECT_TRUE(
        served([&] { return window->size().width == 800 && window->size().height == 600; }));
    xdotool("windowactivate --sync " + openWindow("Red", "20x10+0+0"));
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    EXPECT_TRUE(window->isVisible());
    window->toggleFullScreen();
    EXPECT_TRUE(
        served([&] { return window->size().width == 400 && window->size().height == 300; }));
}

TEST_F(SDLWindowTest, HearsItsKeys) {
    startScreen();
    open();
    fill(0xff123456);
    focus();
    xdotool("key space plus minus equal KP_Add KP_Subtract Up Down Left Right Prior Next "
            "Home End Return KP_Enter s f F11 q Escape x");
    EXPECT_TRUE(served([&] { return keys.size() == 21; }));
    using enum WindowKey;
    const std::vector<WindowKey> expected{
        Pause, MorePetals, FewerPetals, MorePetals, MorePetals, FewerPetals, Up,
        Down,  Left,       Right,       PageUp,     PageDown,   First,       Last,
        Use,   Use,        Screenshot,  FullScreen, FullScreen, Quit,        Quit};
    EXPECT_EQ(keys, expected);
}

/// On a Swiss keyboard, + is typed with the shift key held.
TEST_F(SDLWindowTest, HearsASignThatNeedsTheShiftKey) {
    startScreen();
    screen->run("setxkbmap ch");
    open();
    fill(0xff123456);
    focus();
    xdotool("key plus minus");
    EXPECT_TRUE(served([&] { return keys.size() == 2; }));
    EXPECT_EQ(keys, (std::vector{WindowKey::MorePetals, WindowKey::FewerPetals}));
}

/// The numbers are those of the keys s, f and q.
TEST_F(SDLWindowTest, FindsLettersOnAKeyboardThatTypesAnotherScript) {
    startScreen();
    screen->run("setxkbmap ru");
    open();
    fill(0xff123456);
    focus();
    xdotool("key 39 41 24");
    EXPECT_TRUE(served([&] { return keys.size() == 3; }));
    using enum WindowKey;
    EXPECT_EQ(keys, (std::vector{Screenshot, FullScreen, Quit}));
}

TEST_F(SDLWindowTest, RepeatsAHeldKeyOnlyWhereItChangesAnAmount) {
    startScreen();
    open();
    fill(0xff123456);
    focus();
    xdotool("keydown Up");
    EXPECT_TRUE(served([&] { return count(WindowKey::Up) > 3; }));
    xdotool("keyup Up keydown space");
    NSRunLoop::mainRunLoop().runForSeconds(1.5);
    xdotool("keyup space key space");
    EXPECT_TRUE(served([&] { return count(WindowKey::Pause) == 2; }));
}

TEST_F(SDLWindowTest, HearsTheWheelsAndADragDownwards) {
    startScreen();
    open();
    fill(0xff123456);
    pointAt(50, 50);
    xdotool("click 4 click 5 click 6 click 7");
    EXPECT_TRUE(served([&] { return scrolls == std::vector<CGFloat>{60, -60}; }));
    EXPECT_TRUE(served([&] { return sideways == std::vector<CGFloat>{20, -20}; }));
    xdotool("mousedown 1 mousemove_relative 0 40 mouseup 1");
    EXPECT_TRUE(served([&] { return scrolls.size() > 2 && scrolls[2] == 40; }));
    EXPECT_TRUE(taps.empty());
}

TEST_F(SDLWindowTest, ClosesWhenTheWindowManagerAsksForIt) {
    startScreen();
    startWindowManager();
    open();
    xdotool("windowactivate --sync " + number);
    EXPECT_TRUE(served([&] {
        xdotool("key alt+F4");
        return closings > 0;
    }));
    EXPECT_NE(property("WM_STATE"), "");
}

} // namespace
