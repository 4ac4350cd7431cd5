#include "Host/Displays/X11/X11Pointer.h"

#include "Tests/Host/Displays/X11/X11Client.h"
#include "Tests/Host/Displays/X11/X11DesktopTest.h"

#include <xcb/xcb.h>

using namespace Lumivera;

namespace {

/// Presses on a screen with a window manager.
class X11PointerTest : public X11DesktopTest {
  protected:
    void begin() {
        startScreen();
        startWindowManager();
        client.emplace();
    }

    /// The wallpaper lies beneath the windows that the client has opened.
    void beginWallpaper() {
        open();
        owner().giveMemory();
        ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
        owner().showAll(1);
        ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
        ASSERT_TRUE(served([this] { return client->lumiverasWindows().size() == 1; }));
    }

    void TearDown() override {
        client.reset();
        X11DesktopTest::TearDown();
    }

    void click(int x, int y, const std::string &buttons = "1") {
        std::string clicks;
        for (const char button : buttons) {
            clicks += std::string(" click ") + button;
        }
        xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y) + clicks);
    }

    bool hasPresses(std::uint32_t window, int count) {
        return served([&] { return client->count(XCB_BUTTON_PRESS, window) == count; });
    }

    /// Waits until the desktop has heard of everything so far: events arrive in order, and the last
    /// of these is that of a new density.
    void awaitHearing() {
        ++density;
        client->setText(client->root(), "RESOURCE_MANAGER",
                        "Xft.dpi: " + std::to_string(96 * density));
        ASSERT_TRUE(served([this] { return owner().surface.geometry().density == density; }));
    }

    /// The window gets all clicks there, and the wallpaper none.
    void expectClicksOnlyAt(std::uint32_t window, int x, int y) {
        click(x, y, "1134567");
        EXPECT_TRUE(hasPresses(window, 7));
        awaitHearing();
        expectNothingBut(0);
        click(750, 550);
        EXPECT_TRUE(served([this] { return !owner().taps.empty(); }));
        expectNothingBut(1);
    }

    void expectNothingBut(std::size_t taps) {
        EXPECT_EQ(owner().taps.size(), taps);
        EXPECT_EQ(owner().scrollingEnds, 0);
        EXPECT_EQ(owner().scrolledDown, 0);
    }

    std::optional<X11Client> client;
    int density = 1;
};

TEST_F(X11PointerTest, TapsAndLeavesThePressToTheWindowWithIcons) {
    begin();
    const std::uint32_t icons = client->open({.type = "DESKTOP"});
    beginWallpaper();
    click(300, 200);
    EXPECT_TRUE(hasPresses(icons, 1));
    ASSERT_TRUE(served([this] { return owner().taps.size() == 1; }));
    EXPECT_EQ(owner().taps[0].x, 300);
    EXPECT_EQ(owner().taps[0].y, 200);
}

TEST_F(X11PointerTest, TapsThroughABlendedWallpaperToo) {
    begin();
    startCompositingManager();
    const std::uint32_t icons = client->open({.type = "DESKTOP"});
    beginWallpaper();
    EXPECT_TRUE(owner().surface.geometry().isTransparent);
    click(300, 200);
    EXPECT_TRUE(hasPresses(icons, 1));
    EXPECT_TRUE(served([this] { return owner().taps.size() == 1; }));
}

TEST_F(X11PointerTest, TapsWithTheMainButtonAlone) {
    begin();
    const std::uint32_t icons = client->open({.type = "DESKTOP"});
    beginWallpaper();
    click(300, 200, "323");
    EXPECT_TRUE(hasPresses(icons, 3));
    awaitHearing();
    expectNothingBut(0);
    click(310, 210);
    EXPECT_TRUE(served([this] { return !owner().taps.empty(); }));
    expectNothingBut(1);
}

TEST_F(X11PointerTest, ScrollsWithTheWheelsOverTheIcons) {
    begin();
    const std::uint32_t icons = client->open({.type = "DESKTOP"});
    beginWallpaper();
    click(300, 200, "4");
    EXPECT_TRUE(served([this] { return owner().scrolledDown > 0; }));
    click(300, 200, "55");
    EXPECT_TRUE(served([this] { return owner().scrolledDown < 0; }));
    click(300, 200, "776");
    EXPECT_TRUE(served([this] { return owner().scrollingEnds == 3; }));
    EXPECT_LT(owner().scrolled, 0);
    EXPECT_TRUE(hasPresses(icons, 6));
    EXPECT_TRUE(owner().taps.empty());
}

TEST_F(X11PointerTest, DoesNotTapOnAWindow) {
    begin();
    client->open({.type = "DESKTOP"});
    beginWallpaper();
    const std::uint32_t window = client->open({.area = {100, 100, 300, 300}});
    expectClicksOnlyAt(window, 220, 220);
}

TEST_F(X11PointerTest, DoesNotTapInAMenu) {
    begin();
    client->open({.type = "DESKTOP"});
    beginWallpaper();
    const std::uint32_t menu =
        client->open({.area = {100, 100, 300, 300}, .type = "MENU", .isUnmanaged = true});
    expectClicksOnlyAt(menu, 150, 150);
}

TEST_F(X11PointerTest, DoesNotTapOnAPanel) {
    begin();
    client->open({.type = "DESKTOP"});
    beginWallpaper();
    const std::uint32_t panel = client->open({.area = {0, 0, 800, 40}, .type = "DOCK"});
    expectClicksOnlyAt(panel, 150, 20);
}

TEST_F(X11PointerTest, DoesNotTapWhereAPressOnAWindowEnds) {
    begin();
    client->open({.type = "DESKTOP"});
    beginWallpaper();
    const std::uint32_t menu = client->open({.area = {100, 100, 300, 300}, .isUnmanaged = true});
    xdotool("mousemove 150 150 mousedown 1");
    EXPECT_TRUE(hasPresses(menu, 1));
    awaitHearing();
    xdotool("mousemove 500 500 mouseup 1");
    awaitHearing();
    expectNothingBut(0);
}

TEST_F(X11PointerTest, TapsThroughAWindowOfTheManagersThatOnlyTakesInput) {
    begin();
    beginWallpaper();
    const std::uint32_t input = client->open({.isUnmanaged = true, .isInputOnly = true});
    client->lower(input);
    click(300, 200);
    EXPECT_TRUE(served([this] { return owner().taps.size() == 1; }));
}

} // namespace
