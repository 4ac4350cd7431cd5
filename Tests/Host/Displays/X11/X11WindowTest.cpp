#include "Host/Displays/X11/X11Window.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include <algorithm>

using namespace Lumivera;

namespace {

class X11WindowTest : public X11ScreenTest, protected Display::Listener {
  protected:
    void TearDown() override {
        window.reset();
        X11ScreenTest::TearDown();
    }

    void open(std::optional<CGFloat> density = {}) {
        window.emplace(CGSize{400, 300}, density,
                       "Petals, \xC3\xA9"
                       "clat",
                       "");
        window->setListener(this);
    }

    /// Fills the window with one color and waits until the screen shows it.
    void fill(std::uint32_t color) {
        ASSERT_TRUE(served([&] { return draw(color); }));
        ASSERT_TRUE(served([&] { return pixel(30, 30) == color; }));
    }

    bool draw(std::uint32_t color) {
        bool hasDrawn = false;
        window->present([&](const CompositorTarget &target) -> const std::vector<DeviceRect> & {
            hasDrawn = true;
            age = target.age;
            std::fill_n(target.pixels, target.width * target.height, color);
            rects = {{0, 0, static_cast<int>(target.width), static_cast<int>(target.height)}};
            return rects;
        });
        return hasDrawn;
    }

    std::string number() {
        std::string found = screen->run("xdotool search --name '^Petals, .*clat$'");
        return found.substr(0, found.find('\n'));
    }

    std::size_t count(DisplayKey key) const {
        return static_cast<std::size_t>(std::count(keys.begin(), keys.end(), key));
    }

    void displayResized() override { ++resizes; }
    void displayVisibilityChanged() override { ++visibilityChanges; }
    void displayNeedsPicture() override { ++wishes; }
    void displayClosed() override { ++closings; }
    void tapped(CGPoint point) override { taps.push_back(point); }
    void scrolledBy(CGFloat) override {}
    void scrollingEnded() override {}
    void scrolledDownBy(CGFloat distance) override { scrolls.push_back(distance); }
    void keyPressed(DisplayKey key) override { keys.push_back(key); }

    std::optional<X11Window> window;
    std::vector<DeviceRect> rects;
    std::vector<DisplayKey> keys;
    std::vector<CGPoint> taps;
    std::vector<CGFloat> scrolls;
    unsigned age = 9;
    int resizes = 0;
    int visibilityChanges = 0;
    int wishes = 0;
    int closings = 0;
};

TEST_F(X11WindowTest, ShowsWhatIsDrawnAndKeepsIt) {
    startScreen();
    open();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->size().width, 400);
    EXPECT_EQ(window->size().height, 300);
    fill(0xff123456);
    EXPECT_EQ(age, 0u);
    fill(0xff654321);
    EXPECT_EQ(age, 1u);
    EXPECT_EQ(pixel(399, 299), 0xff654321);
}

TEST_F(X11WindowTest, DrawsNothingWhileTheServerReadsAndWishesForItThen) {
    startScreen();
    open();
    fill(0xff123456);
    ASSERT_TRUE(served([&] { return draw(0xff123456); }));
    const int before = wishes;
    EXPECT_FALSE(draw(0xff222222));
    EXPECT_TRUE(served([&] { return wishes == before + 1; }));
    EXPECT_TRUE(draw(0xff222222));
}

TEST_F(X11WindowTest, HasADensityOfPixelsAPoint) {
    startScreen();
    open(1.5);
    EXPECT_EQ(window->size().width, 400);
    fill(0xff123456);
    EXPECT_EQ(pixel(599, 449), 0xff123456);
    xdotool("mousemove 300 150 click 1");
    ASSERT_TRUE(served([&] { return !taps.empty(); }));
    EXPECT_EQ(taps[0].x, 200);
    EXPECT_EQ(taps[0].y, 100);
}

TEST_F(X11WindowTest, TakesAnotherSize) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("windowsize " + number() + " 500 200");
    ASSERT_TRUE(served([&] { return resizes == 1; }));
    EXPECT_EQ(window->size().width, 500);
    EXPECT_EQ(window->size().height, 200);
    fill(0xff654321);
    EXPECT_EQ(age, 0u);
    EXPECT_EQ(pixel(499, 199), 0xff654321);
}

TEST_F(X11WindowTest, IsNotVisibleWhileItIsMinimised) {
    startScreen();
    startWindowManager();
    open();
    ASSERT_TRUE(served([&] { return !number().empty(); }));
    ASSERT_TRUE(served([&] {
        xdotool("windowminimize " + number());
        return !window->isVisible();
    }));
    EXPECT_EQ(visibilityChanges, 1);
    xdotool("windowactivate " + number());
    EXPECT_TRUE(served([&] { return window->isVisible(); }));
    EXPECT_EQ(visibilityChanges, 2);
}

TEST_F(X11WindowTest, IsNotVisibleBehindAnotherWindow) {
    startScreen();
    open();
    fill(0xff123456);
    const std::string other = openWindow("Red", "20x10+0+0");
    xdotool("windowsize " + other + " 400 300");
    EXPECT_TRUE(served([&] { return !window->isVisible(); }));
    xdotool("windowmove " + other + " 10 0");
    EXPECT_TRUE(served([&] { return window->isVisible(); }));
    EXPECT_TRUE(served([&] { return pixel(5, 30) == 0xff123456; }));
}

TEST_F(X11WindowTest, FillsTheScreenWhenAskedTo) {
    startScreen();
    startWindowManager();
    open();
    ASSERT_TRUE(served([&] {
        return screen->run("xprop -id " + number()).find("WM_STATE") != std::string::npos;
    }));
    window->toggleFullScreen();
    EXPECT_TRUE(
        served([&] { return window->size().width == 800 && window->size().height == 600; }));
    window->toggleFullScreen();
    EXPECT_TRUE(
        served([&] { return window->size().width == 400 && window->size().height == 300; }));
}

TEST_F(X11WindowTest, HearsItsKeys) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("windowfocus --sync " + number());
    xdotool("key space plus minus equal KP_Add KP_Subtract Up Down Left Right Prior Next "
            "Home End Return KP_Enter s f F11 q Escape x");
    EXPECT_TRUE(served([&] { return keys.size() == 21; }));
    using enum DisplayKey;
    const std::vector<DisplayKey> expected{
        Pause, MorePetals, FewerPetals, MorePetals, MorePetals, FewerPetals, Up,
        Down,  Left,       Right,       PageUp,     PageDown,   First,       Last,
        Use,   Use,        Screenshot,  FullScreen, FullScreen, Quit,        Quit};
    EXPECT_EQ(keys, expected);
}

TEST_F(X11WindowTest, RepeatsAHeldKeyOnlyWhereItChangesAnAmount) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("windowfocus --sync " + number());
    xdotool("keydown Up");
    EXPECT_TRUE(served([&] { return count(DisplayKey::Up) > 3; }));
    xdotool("keyup Up keydown space");
    NSRunLoop::mainRunLoop().runForSeconds(1.5);
    xdotool("keyup space key space");
    EXPECT_TRUE(served([&] { return count(DisplayKey::Pause) == 2; }));
}

TEST_F(X11WindowTest, HearsTheWheelAndADragDownwards) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("mousemove --window " + number() + " 50 50 click 4 click 5");
    EXPECT_TRUE(served([&] { return scrolls == std::vector<CGFloat>{60, -60}; }));
    xdotool("mousedown 1 mousemove_relative 0 40 mouseup 1");
    EXPECT_TRUE(served([&] { return scrolls.size() > 2 && scrolls[2] == 40; }));
    EXPECT_TRUE(taps.empty());
}

TEST_F(X11WindowTest, ClosesWhenTheWindowManagerAsksForIt) {
    startScreen();
    startWindowManager();
    open();
    ASSERT_TRUE(served([&] { return !number().empty(); }));
    xdotool("windowactivate --sync " + number());
    EXPECT_TRUE(served([&] {
        xdotool("key alt+F4");
        return closings > 0;
    }));
    EXPECT_NE(number(), "");
}

TEST_F(X11WindowTest, ClosesWhenItIsDestroyed) {
    startScreen();
    open();
    fill(0xff123456);
    xdotool("windowclose " + number());
    EXPECT_TRUE(served([&] { return closings == 1; }));
}

TEST_F(X11WindowTest, SaysThatTheServerHasGoneWhereAPictureIsDrawn) {
    startScreen();
    open();
    fill(0xff123456);
    screen->end();
    EXPECT_TRUE(served([&] { return wishes > 0; }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_THROW(draw(0xff123456), HostError);
}

} // namespace
