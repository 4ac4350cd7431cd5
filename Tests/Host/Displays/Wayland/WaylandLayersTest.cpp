#include "Platform/Foundation/NSRunLoop.h"
#include "Tests/Host/Displays/Wayland/FakeSway.h"
#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

using namespace Lumivera;

namespace {

constexpr unsigned kBackground = 0;
constexpr unsigned kBottom = 1;
constexpr std::uint32_t kMaximized = 0;
constexpr std::uint32_t kActivated = 2;

class WaylandLayersTest : public WaylandDesktopTest {
  protected:
    void beginWith(LayerChoice choice) {
        compositor().addOutput("A", {});
        connect(choice);
        ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
        compositor().configure("A", 640, 480);
        ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    }

    std::string layerName() { return surface().surface.layer().name; }

    SurfaceVisibility visibility() { return surface().surface.visibility(); }
};

TEST_F(WaylandLayersTest, IsInTheBackgroundBeneathPanels) {
    beginWith(LayerChoice::Over);
    EXPECT_EQ(shown().layer, kBackground);
    EXPECT_EQ(shown().exclusiveZone, -1);
    EXPECT_EQ(layerName(), "background");
}

TEST_F(WaylandLayersTest, IsOnTheLayerAboveBesidePanelsWhereTheUserWantsThat) {
    beginWith(LayerChoice::Bottom);
    EXPECT_EQ(shown().layer, kBottom);
    EXPECT_EQ(shown().exclusiveZone, 0);
    EXPECT_EQ(layerName(), "bottom");
}

TEST_F(WaylandLayersTest, TakesWhatItShowsToAnotherLayer) {
    beginWith(LayerChoice::Automatic);
    show(0xFF000001);
    desktop().setLayerChoice(LayerChoice::Bottom);
    ASSERT_TRUE(runUntil([&] { return shown().layer == kBottom; }));
    EXPECT_EQ(compositor().surfaces().size(), 1U);
    compositor().configure("A", 640, 480);
    EXPECT_TRUE(runUntil([&] { return shown().corner == 0xFF000001; }));
    desktop().setLayerChoice(LayerChoice::Behind);
    EXPECT_TRUE(runUntil([&] { return shown().layer == kBackground; }));
}

/// A desktop whose compositor is Sway.
class WaylandSwayTest : public WaylandLayersTest {
  protected:
    FakeSway sway;
};

TEST_F(WaylandSwayTest, IsInFrontOfSwaysOwnBackground) {
    beginWith(LayerChoice::Automatic);
    EXPECT_EQ(shown().layer, kBottom);
}

TEST_F(WaylandSwayTest, IsInTheBackgroundWhereTheUserWantsThat) {
    beginWith(LayerChoice::Background);
    EXPECT_EQ(shown().layer, kBackground);
}

TEST_F(WaylandSwayTest, IsCoveredByTiles) {
    beginWith(LayerChoice::Automatic);
    sway.say(FakeSway::kGetTree, FakeSway::tree(FakeSway::window(0, 0, 640, 480)));
    ASSERT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Covered; }));
    sway.say(FakeSway::kWorkspaceEvent, "{}");
    ASSERT_TRUE(runUntil([&] { return sway.requests().size() == 3; }));
    sway.say(FakeSway::kGetTree, FakeSway::tree(FakeSway::window(0, 0, 320, 480)));
    EXPECT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Visible; }));
}

TEST_F(WaylandSwayTest, BelievesTheTreeMoreThanStates) {
    beginWith(LayerChoice::Automatic);
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kMaximized, kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Covered; }));
    sway.say(FakeSway::kGetTree, FakeSway::tree(""));
    ASSERT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Visible; }));
    sway.hangUp();
    EXPECT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Covered; }));
    EXPECT_EQ(shown().layer, kBottom);
}

TEST_F(WaylandSwayTest, HearsNothingMoreOfWindowsOnceTheCompositorHasGone) {
    beginWith(LayerChoice::Automatic);
    compositor().hangUp();
    ASSERT_TRUE(runUntil([&] { return recorder.losses.size() == 1; }));
    sway.say(FakeSway::kGetTree, FakeSway::tree(FakeSway::window(0, 0, 640, 480)));
    NSRunLoop::mainRunLoop().runForSeconds(0.05);
    EXPECT_EQ(recorder.heard, "+A,");
}

/// Phosh, whose overview covers the screen while no window is active.
class WaylandPhoshTest : public WaylandLayersTest {
  protected:
    void SetUp() override {
        TestCompositor::Options options;
        options.isPhoshs = true;
        begin(options);
    }

    EnvironmentVariable _desktop{"XDG_CURRENT_DESKTOP", "Phosh:GNOME"};
};

TEST_F(WaylandPhoshTest, IsCoveredByTheOverviewWhileNoWindowIsActive) {
    ASSERT_EQ(visibility(), SurfaceVisibility::Covered);
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Visible; }));
    compositor().changeToplevel(0, {{}, "A"});
    EXPECT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Covered; }));
}

TEST_F(WaylandPhoshTest, IsCoveredByAMaximizedWindowBehindTheActiveOne) {
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Visible; }));
    compositor().addToplevel();
    compositor().changeToplevel(1, {{kMaximized}, "A"});
    EXPECT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Covered; }));
}

TEST_F(WaylandPhoshTest, ShowsItsOverviewOnOneOutputAlone) {
    compositor().addOutput("B", {});
    EXPECT_TRUE(runUntil([&] { return visibility() == SurfaceVisibility::Visible; }));
}

} // namespace
