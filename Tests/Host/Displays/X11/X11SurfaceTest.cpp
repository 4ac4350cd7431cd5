#include "Host/Displays/X11/X11Surface.h"

#include "Tests/Host/Displays/X11/X11Client.h"
#include "Tests/Host/Displays/X11/X11DesktopTest.h"
#include "Tests/Host/Support/RealTimeLoop.h"

#include <sys/resource.h>
#include <xcb/xcb.h>

using namespace Lumivera;

namespace {

constexpr std::uint32_t kIconsColor = 0xff204060;
constexpr std::uint32_t kPetalColor = 0xff00c000;
constexpr DeviceRect kWhole{0, 0, 800, 600};
constexpr DeviceRect kPetal{300, 200, 340, 240};

/// Half transparent red.
constexpr DeviceRect kVeil{400, 200, 440, 240};
constexpr std::uint32_t kVeilColor = 0x80800000;

/// A program that shows icons, and a host.
class X11SurfaceTest : public X11DesktopTest {
  protected:
    void begin(bool isBlended) {
        startScreen();
        manager = startWindowManager();
        if (isBlended) {
            startBlending();
        }
        client.emplace();
    }

    void startBlending() {
        blender = screen->start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    }

    /// Opens a window with icons, which fills the screen.
    void openIcons(std::uint8_t depth = 24, std::uint32_t color = kIconsColor) {
        icons = client->open({.depth = depth, .color = color, .type = "DESKTOP"});
    }

    /// Waits for the compositing manager that was started.
    void openDesktop(const Desktop::Options &options = {}) {
        if (blender != 0) {
            ASSERT_TRUE(served([this] { return client->hasOwner("_NET_WM_CM_S0"); }));
        }
        open(options);
    }

    /// What a host does in the surface's present geometry.
    void showPetals() {
        owner().giveMemory();
        ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
        const bool isTransparent = owner().surface.geometry().isTransparent;
        owner().show(kWhole, [=](int x, int y) {
            const DeviceRect pixel{x, y, x + 1, y + 1};
            const std::uint32_t around = isTransparent ? 0 : SurfaceOwner::colorAt(x, y, 1);
            return kPetal.contains(pixel)                   ? kPetalColor
                   : isTransparent && kVeil.contains(pixel) ? kVeilColor
                                                            : around;
        });
        ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    }

    bool isPixel(int x, int y, std::uint32_t color) {
        return served([&] { return client->pixel(x, y) == color; });
    }

    bool isPetalShown() { return isPixel(320, 220, kPetalColor); }
    bool isOverIcons() {
        return served([this] { return client->isLumiveraDirectlyAbove(icons); });
    }
    bool isLayer(const std::string &name, const std::string &program) {
        return served([&] {
            return owner().surface.layer().name == name &&
                   owner().surface.layer().program == program;
        });
    }

    void expectPetalsOverIcons() {
        EXPECT_TRUE(isOverIcons());
        EXPECT_TRUE(isPetalShown());
        EXPECT_TRUE(isPixel(100, 100, kIconsColor));
        EXPECT_TRUE(isPixel(700, 500, kIconsColor));
    }

    void TearDown() override {
        client.reset();
        X11DesktopTest::TearDown();
    }

    std::optional<X11Client> client;
    pid_t manager = 0;
    pid_t blender = 0;
    std::uint32_t icons = 0;
};

struct Opacity {
    const char *name;
    std::uint8_t depth;
    bool isBlended;
};

class X11SurfaceOverIcons : public X11SurfaceTest, public testing::WithParamInterface<Opacity> {};

INSTANTIATE_TEST_SUITE_P(X11, X11SurfaceOverIcons,
                         testing::Values(Opacity{"Depth24", 24, false},
                                         Opacity{"Depth32", 32, false},
                                         Opacity{"Depth24Blended", 24, true},
                                         Opacity{"Depth32Blended", 32, true}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_P(X11SurfaceOverIcons, ShowsPetalsRightAboveOpaqueIcons) {
    begin(GetParam().isBlended);
    openIcons(GetParam().depth);
    openDesktop();
    EXPECT_TRUE(owner().surface.geometry().isTransparent);
    EXPECT_TRUE(isLayer("over", "Files"));
    EXPECT_EQ(owner().surface.layer().remedy.empty(), GetParam().isBlended);
    showPetals();
    expectPetalsOverIcons();
    // Red over the icons' colour, or in full without anything to blend it with.
    EXPECT_TRUE(isPixel(420, 220, GetParam().isBlended ? 0xff902030 : 0xffff0000));
    EXPECT_EQ(owner().surface.visibility(), SurfaceVisibility::Visible);
    EXPECT_EQ(owner().visibilityChanges, 0);
}

TEST_F(X11SurfaceTest, ShowsTheWallpaperBehindTransparentIcons) {
    begin(true);
    openIcons(32, 0);
    openDesktop();
    EXPECT_FALSE(owner().surface.geometry().isTransparent);
    EXPECT_TRUE(isLayer("behind", "Files"));
    showPetals();
    EXPECT_TRUE(isPetalShown());
    EXPECT_TRUE(isPixel(700, 500, SurfaceOwner::colorAt(700, 500, 1)));
    EXPECT_TRUE(served([this] { return client->isLumiveraLowest(); }));
    client->lower(client->frameOf(icons));
    EXPECT_TRUE(served([this] { return client->isLumiveraLowest(); }));
    client->raise(client->frameOf(icons));
    EXPECT_TRUE(served([this] { return client->isLumiveraLowest(); }));
}

TEST_F(X11SurfaceTest, BlendsPetalsWithTheBackgroundThatItIsGiven) {
    begin(false);
    openIcons();
    openDesktop();
    auto background = std::make_shared<SharedBuffers>(800, 600, 1);
    std::fill_n(background->pixels(0), 800 * 600, kIconsColor);
    owner().surface.setBackground(background);
    showPetals();
    expectPetalsOverIcons();
    EXPECT_TRUE(isPixel(420, 220, 0xff902030));
}

/// As where all descriptors are in use.
TEST_F(X11SurfaceTest, LetsPetalsGoOnWhenThereIsNoMemoryForThem) {
    begin(false);
    openIcons();
    openDesktop();
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_NO_THROW(owner().showAll(1));
    setrlimit(RLIMIT_NOFILE, &usual);
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); })) << "the view may draw again";
    showPetals();
    expectPetalsOverIcons();
}

/// The server calls a window hidden that has no pixels of its own beneath another.
TEST_F(X11SurfaceTest, IsVisibleWhereItHasNoPetalsYet) {
    begin(false);
    openIcons();
    openDesktop();
    client->open({.area = {0, 0, 800, 30}, .isUnmanaged = true});
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().show(kWhole, [](int, int) { return 0; });
    ASSERT_TRUE(served([this] { return client->lumiverasWindows().size() == 1; }));
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    EXPECT_EQ(owner().surface.visibility(), SurfaceVisibility::Visible);
    EXPECT_EQ(owner().visibilityChanges, 0);
}

TEST_F(X11SurfaceTest, GoesBackAboveIconsThatWereRaisedOrLowered) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    client->watchRoot();
    const std::uint32_t frame = client->frameOf(icons);
    for (const std::uint32_t raised : {frame, icons}) {
        const int before = client->count(XCB_CONFIGURE_NOTIFY, frame);
        client->raise(raised);
        EXPECT_TRUE(served([&] { return client->count(XCB_CONFIGURE_NOTIFY, frame) > before; }));
        expectPetalsOverIcons();
    }
    client->lower(frame);
    expectPetalsOverIcons();
}

TEST_F(X11SurfaceTest, GoesBackAboveIconsThatLieAboveAnotherWindow) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    const std::uint32_t menu =
        client->open({.area = {0, 0, 50, 50}, .color = 0xffff00ff, .isUnmanaged = true});
    client->raise(client->lumiverasWindows().at(0));
    expectPetalsOverIcons();
    EXPECT_TRUE(isPixel(20, 20, 0xffff00ff));
    client->close(menu);
}

TEST_F(X11SurfaceTest, GoesOverTheIconsOfAProgramThatIsStartedAgain) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    client->close(icons);
    openIcons();
    expectPetalsOverIcons();
    EXPECT_EQ(owner().geometryChanges, 1) << "the program needs the background again";
}

TEST_F(X11SurfaceTest, ShowsTheWallpaperWholeWhenTheIconsHaveGone) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    client->close(icons);
    ASSERT_TRUE(served([this] { return owner().geometryChanges == 1; }));
    EXPECT_FALSE(owner().surface.geometry().isTransparent);
    EXPECT_TRUE(isLayer("behind", ""));
    showPetals();
    EXPECT_TRUE(isPixel(700, 500, SurfaceOwner::colorAt(700, 500, 1)));
    openIcons();
    ASSERT_TRUE(served([this] { return owner().geometryChanges == 2; }));
    EXPECT_TRUE(owner().surface.geometry().isTransparent);
    showPetals();
    expectPetalsOverIcons();
}

TEST_F(X11SurfaceTest, StaysAboveTheIconsOnAnotherWorkspace) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    for (const char *workspace : {"1", "0"}) {
        xdotool(std::string("set_desktop ") + workspace);
        ASSERT_TRUE(served(
            [&] { return screen->run("xdotool get_desktop") == std::string(workspace) + "\n"; }));
        expectPetalsOverIcons();
    }
    EXPECT_EQ(owner().visibilityChanges, 0);
}

TEST_F(X11SurfaceTest, StaysAboveTheIconsWhileTheDesktopIsShown) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    const std::uint32_t window = client->open({.area = {-20, -40, 820, 640}});
    ASSERT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->showDesktop(true);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    expectPetalsOverIcons();
    client->showDesktop(false);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Covered));
    client->close(window);
    EXPECT_TRUE(isVisibility(SurfaceVisibility::Visible));
    expectPetalsOverIcons();
}

/// Nothing is drawn anew meanwhile, as in a wallpaper that is paused.
TEST_F(X11SurfaceTest, StaysAboveTheIconsWhenTheManagerEndsAndAnotherStarts) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    // A window of another kind takes the place of the one before.
    const std::uint32_t first = client->lumiverasWindows().at(0);
    const auto isNew = [this](std::uint32_t old) {
        const std::vector<std::uint32_t> ours = client->lumiverasWindows();
        return ours.size() == 1 && ours[0] != old;
    };
    screen->end(manager);
    EXPECT_TRUE(served([&] { return isNew(first); }));
    expectPetalsOverIcons();
    const std::uint32_t second = client->lumiverasWindows().at(0);
    startWindowManager();
    EXPECT_TRUE(served([&] { return isNew(second); }));
    expectPetalsOverIcons();
    EXPECT_EQ(owner().geometryChanges, 0);
}

TEST_F(X11SurfaceTest, KeepsPetalsWhenBlendingStartsAndEnds) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    EXPECT_FALSE(owner().surface.layer().remedy.empty());
    startBlending();
    EXPECT_TRUE(served([this] { return owner().surface.layer().remedy.empty(); }));
    EXPECT_TRUE(isPixel(420, 220, 0xff902030));
    expectPetalsOverIcons();
    screen->end(blender);
    EXPECT_TRUE(served([this] { return !owner().surface.layer().remedy.empty(); }));
    expectPetalsOverIcons();
    EXPECT_EQ(owner().geometryChanges, 0);
}

TEST_F(X11SurfaceTest, GoesBehindTransparentIconsWhenBlendingStarts) {
    begin(false);
    openIcons(32, 0);
    openDesktop();
    EXPECT_TRUE(owner().surface.geometry().isTransparent);
    showPetals();
    startBlending();
    ASSERT_TRUE(served([this] { return owner().geometryChanges == 1; }));
    EXPECT_FALSE(owner().surface.geometry().isTransparent);
    EXPECT_TRUE(isLayer("behind", "Files"));
    showPetals();
    EXPECT_TRUE(isPetalShown());
    EXPECT_TRUE(served([this] { return client->isLumiveraLowest(); }));
    screen->end(blender);
    ASSERT_TRUE(served([this] { return owner().geometryChanges == 2; }));
    EXPECT_TRUE(owner().surface.geometry().isTransparent);
}

TEST_F(X11SurfaceTest, FollowsTheChoiceOfItsUserAtOnce) {
    begin(false);
    openIcons();
    openDesktop();
    showPetals();
    expectPetalsOverIcons();
    desktop->setLayerChoice(LayerChoice::Behind);
    EXPECT_EQ(owner().geometryChanges, 1);
    EXPECT_FALSE(owner().surface.geometry().isTransparent);
    EXPECT_EQ(owner().surface.layer().name, "behind");
    EXPECT_FALSE(owner().surface.layer().remedy.empty());
    showPetals();
    EXPECT_TRUE(isPixel(700, 500, SurfaceOwner::colorAt(700, 500, 1)));
    EXPECT_TRUE(isOverIcons());
    for (const LayerChoice choice : {LayerChoice::Over, LayerChoice::Automatic}) {
        desktop->setLayerChoice(choice);
        EXPECT_EQ(owner().geometryChanges, 2);
        EXPECT_TRUE(owner().surface.geometry().isTransparent);
    }
    showPetals();
    expectPetalsOverIcons();
}

TEST_F(X11SurfaceTest, DoesNotFightForItsPlaceForEver) {
    begin(false);
    openDesktop();
    showPetals();
    client->watchRoot();
    ASSERT_TRUE(served([this] { return client->isLumiveraLowest(); }));
    const std::uint32_t ours = client->lumiverasWindows().at(0);
    const std::uint32_t rival = client->open({.area = {0, 0, 50, 50}, .isUnmanaged = true});
    int rounds = 0;
    int quiet = 0;
    // The rival takes turns with us until we leave it the place.
    EXPECT_TRUE(served([&] {
        const bool isLowest = client->shownChildren().at(0) == rival;
        quiet = isLowest ? quiet + 1 : 0;
        if (!isLowest) {
            client->lower(rival);
            ++rounds;
        }
        return quiet == 30;
    }));
    EXPECT_GT(rounds, 2);
    EXPECT_LE(client->count(XCB_CONFIGURE_NOTIFY, ours), 21);
    EXPECT_TRUE(isPetalShown());
}

TEST_F(X11SurfaceTest, GoesBeneathEverythingWhereNobodyManagesWindows) {
    startScreen();
    client.emplace();
    startBlending();
    openIcons(32, 0);
    openDesktop();
    showPetals();
    const std::uint32_t other = client->open({.area = {0, 0, 50, 50}, .color = 0xffff00ff});
    client->watchRoot();
    client->lower(other);
    EXPECT_TRUE(served([this] { return client->isLumiveraLowest(); }));
    EXPECT_TRUE(isPetalShown());
    EXPECT_TRUE(isPixel(20, 20, 0xffff00ff));
    EXPECT_LT(client->count(XCB_CONFIGURE_NOTIFY, client->lumiverasWindows().at(0)), 4);
}

/// A manager that draws all windows, and leaves ours in front of the icons.
TEST_F(X11SurfaceTest, CostsNothingUnderAManagerThatRefusesItsPlace) {
    startScreen();
    client.emplace();
    startBlending();
    openIcons(32, 0);
    client->pretendToManage("Mutter", {icons});
    client->refuseWishes();
    openDesktop();
    owner().giveMemory();
    ASSERT_TRUE(served([this] { return owner().wanted.has_value(); }));
    owner().showAll(1);
    ASSERT_TRUE(served([this] {
        client->count(XCB_MAP_REQUEST, 0);
        return client->lumiverasWindows().size() == 1;
    }));
    const std::uint32_t ours = client->lumiverasWindows().at(0);
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    EXPECT_LT(costOfIdling(), 0.1);
    EXPECT_LE(client->count(XCB_CONFIGURE_REQUEST, ours), 21);
}

} // namespace
