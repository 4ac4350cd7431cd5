#include "Host/Support/HostError.h"
#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

#include <cstdlib>

using namespace Lumivera;

namespace {

class WaylandOutputsTest : public WaylandDesktopTest {
  protected:
    /// Begins without a fractional scale of the compositor's.
    void beginWhole(const TestCompositor::Mode &mode, bool hasViewporter) {
        TestCompositor::Options options;
        options.hasFractionalScale = false;
        options.hasViewporter = hasViewporter;
        begin(options, mode);
    }
};

std::string complaintOf(const std::function<void()> &action) {
    try {
        action();
    } catch (const HostError &error) {
        return error.what();
    }
    return "";
}

TEST_F(WaylandOutputsTest, SaysWhichCompositorIsNotThere) {
    setenv("WAYLAND_DISPLAY", "/nonexistent/wayland-9", 1);
    const std::string complaint = complaintOf([&] { connect(); });
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_NE(complaint.find("/nonexistent/wayland-9: there is none"), std::string::npos)
        << complaint;
}

TEST_F(WaylandOutputsTest, SaysThatADesktopWithoutLayersCannotShowIt) {
    TestCompositor::Options options;
    options.hasLayerShell = false;
    compositor(options).addOutput("A", {});
    const std::string complaint = complaintOf([&] { connect(); });
    EXPECT_NE(complaint.find("no layer shell"), std::string::npos) << complaint;
    EXPECT_NE(complaint.find("lumivera run"), std::string::npos) << complaint;
}

TEST_F(WaylandOutputsTest, PutsItselfBehindEverythingOnTheWholeOutput) {
    begin();
    show(0xFF102030);
    const TestCompositor::Surface surface = shown();
    EXPECT_EQ(surface.layerNamespace, "wallpaper");
    EXPECT_EQ(surface.layer, 0U);
    EXPECT_EQ(surface.anchor, 15U);
    EXPECT_EQ(surface.exclusiveZone, -1);
    EXPECT_FALSE(surface.takesKeys);
    EXPECT_TRUE(surface.takesInput);
    EXPECT_TRUE(surface.isOpaque);
    EXPECT_TRUE(surface.isAcknowledged);
    EXPECT_EQ(surface.corner, 0xFF102030);
}

TEST_F(WaylandOutputsTest, TellsOfOutputsThatAreThereAndThatComeAndGo) {
    compositor().addOutput("A", {});
    compositor().addOutput("B", {});
    connect();
    EXPECT_EQ(recorder.heard, "+A,+B,");
    compositor().addOutput("C", {});
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,+B,+C,"; }));
    compositor().removeOutput("B");
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,+B,+C,-B,"; }));
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 2; }));
}

TEST_F(WaylandOutputsTest, NamesOutputsThatHaveNoNames) {
    TestCompositor::Options options;
    options.outputVersion = 1;
    compositor(options).addOutput("A", {});
    connect();
    ASSERT_EQ(recorder.surfaces.size(), 1U);
    EXPECT_EQ(surface().surface.outputName().substr(0, 3), "wl-");
}

TEST_F(WaylandOutputsTest, TakesTheNameThatTheOutputManagerTells) {
    TestCompositor::Options options;
    options.outputVersion = 3;
    options.hasOutputManager = true;
    compositor(options).setLogicalSize(640, 480);
    compositor().addOutput("A", {});
    connect();
    EXPECT_EQ(recorder.heard, "+A,");
}

TEST_F(WaylandOutputsTest, HasNoSizeBeforeItIsConfigured) {
    compositor().addOutput("A", {});
    connect();
    EXPECT_EQ(surface().surface.geometry(), SurfaceGeometry());
}

TEST_F(WaylandOutputsTest, TakesTheOutputsSizeWhereTheChoiceIsItsOwn) {
    begin();
    surface().heard.clear();
    compositor().changeOutput("A", {800, 600, 1, 1});
    compositor().configure("A", 0, 0);
    ASSERT_TRUE(runUntil([&] { return !surface().heard.empty(); }));
    EXPECT_EQ(surface().heard, "geometry 600x800*120,");
}

TEST_F(WaylandOutputsTest, TellsABurstOfSizesOnceAndKnowsTheLast) {
    begin();
    surface().heard.clear();
    compositor().atOnce([&] {
        for (unsigned width = 700; width <= 900; width += 100) {
            compositor().configure("A", width, 500);
        }
    });
    ASSERT_TRUE(runUntil([&] { return !surface().heard.empty(); }));
    show(0xFF000001);
    EXPECT_EQ(surface().heard, "geometry 900x500*120,");
    EXPECT_TRUE(shown().isAcknowledged);
}

TEST_F(WaylandOutputsTest, KeepsQuietWhenTheSameSizeIsToldAgain) {
    begin();
    surface().heard.clear();
    surface().wishes.clear();
    compositor().configure("A", 640, 480);
    catchUp();
    EXPECT_EQ(surface().heard, "");
    EXPECT_EQ(surface().wishes, "");
}

TEST_F(WaylandOutputsTest, KeepsItsSizeWhenAConfigureEventSaysNothing) {
    compositor().addOutput("A", {0, 0, 1, 0});
    connect();
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
    compositor().configure("A", 0, 0);
    catchUp();
    EXPECT_EQ(surface().heard, "");
    compositor().configure("A", 300, 200);
    ASSERT_TRUE(runUntil([&] { return surface().heard == "geometry 300x200*120,"; }));
    compositor().configure("A", 0, 0);
    catchUp();
    EXPECT_EQ(surface().heard, "geometry 300x200*120,");
}

TEST_F(WaylandOutputsTest, TakesNoMemoryThatWaylandCannotShare) {
    begin();
    surface().givesMemory = false;
    compositor().configure("A", 4'000'000'000U, 2'000'000'000U);
    ASSERT_TRUE(runUntil([&] { return surface().surface.geometry().width != 640; }));
    EXPECT_EQ(surface().surface.geometry().width, 16383U);
    EXPECT_EQ(surface().surface.geometry().height, 16383U);
}

TEST_F(WaylandOutputsTest, DrawsWithFractionalScalesInWholePixels) {
    begin();
    surface().heard.clear();
    compositor().preferScale("A", 180);
    ASSERT_TRUE(runUntil([&] { return !surface().heard.empty(); }));
    EXPECT_EQ(surface().heard, "geometry 960x720*180,");
    compositor().configure("A", 333, 221);
    ASSERT_TRUE(runUntil([&] { return surface().surface.geometry().width == 500; }));
    EXPECT_EQ(surface().surface.geometry().height, 332U);
    show(0xFF000001);
    EXPECT_EQ(shown().width, 500);
    EXPECT_EQ(shown().destinationWidth, 333);
    EXPECT_EQ(shown().destinationHeight, 221);
    EXPECT_EQ(shown().scale, 1);
}

TEST_F(WaylandOutputsTest, FindsOutAFractionalScaleThatNobodyTells) {
    TestCompositor::Options options;
    options.hasFractionalScale = false;
    options.hasOutputManager = true;
    compositor(options).setLogicalSize(640, 480);
    begin({}, {960, 720, 2, 0});
    compositor().configure("A", 640, 480);
    ASSERT_TRUE(runUntil([&] { return surface().surface.geometry().width == 960; }));
    EXPECT_EQ(surface().surface.geometry().height, 720U);
    EXPECT_EQ(surface().surface.geometry().density, 1.5);
}

TEST_F(WaylandOutputsTest, DrawsWithWholeScalesWherePicturesCannotBeStretched) {
    beginWhole({1280, 960, 2, 0}, false);
    EXPECT_EQ(surface().heard, "geometry 1280x960*240,");
    show(0xFF000001);
    EXPECT_EQ(shown().scale, 2);
    EXPECT_EQ(shown().width, 1280);
    EXPECT_EQ(shown().destinationWidth, 0);
}

TEST_F(WaylandOutputsTest, FollowsAScaleThatChangesTogetherWithTheSizeOnce) {
    beginWhole({1280, 960, 1, 0}, true);
    surface().heard.clear();
    compositor().atOnce([&] {
        compositor().changeOutput("A", {1280, 960, 2, 0});
        compositor().configure("A", 640, 480);
    });
    ASSERT_TRUE(runUntil([&] { return !surface().heard.empty(); }));
    show(0xFF000001);
    EXPECT_EQ(surface().heard, "geometry 1280x960*240,");
    EXPECT_EQ(shown().destinationWidth, 640);
}

TEST_F(WaylandOutputsTest, DoesNotDivideAnOldPictureThatTheScaleDoesNotFit) {
    beginWhole({641, 480, 1, 0}, false);
    surface().givesMemory = false;
    compositor().changeOutput("A", {641, 480, 2, 0});
    ASSERT_TRUE(runUntil([&] { return surface().surface.geometry().density == 2; }));
    show(0xFF000001);
    EXPECT_EQ(shown().scale, 1);
    EXPECT_EQ(shown().width, 641);
}

TEST_F(WaylandOutputsTest, ComesAgainWithItsPictureWhenItIsClosed) {
    begin();
    show(0xFF123456);
    compositor().close("A");
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().empty(); }));
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
    compositor().configure("A", 640, 480);
    ASSERT_TRUE(runUntil([&] { return shown().pictures == 1; }));
    EXPECT_EQ(shown().corner, 0xFF123456);
    show(0xFF654321);
    EXPECT_EQ(shown().corner, 0xFF654321);
    EXPECT_EQ(recorder.heard, "+A,");
}

TEST_F(WaylandOutputsTest, ShowsAPictureThatWasDrawnWhileItWasClosed) {
    begin();
    compositor().close("A");
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().empty(); }));
    surface().draw(0xFF111111);
    ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
    EXPECT_EQ(shown().pictures, 0);
    compositor().configure("A", 640, 480);
    ASSERT_TRUE(runUntil([&] { return shown().corner == 0xFF111111; }));
}

TEST_F(WaylandOutputsTest, GivesUpAnOutputThatClosesItAgainAndAgainUntilItComesAnew) {
    begin();
    for (int closing = 0; closing < 3; ++closing) {
        ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
        compositor().close("A");
        ASSERT_TRUE(runUntil([&] { return compositor().surfaces().empty(); }));
    }
    EXPECT_EQ(recorder.heard, "+A,-A,");
    catchUp();
    EXPECT_EQ(shown().anchor, 0U);
    recorder.heard.clear();
    compositor().removeOutput("A");
    compositor().addOutput("A", {});
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,"; }));
    EXPECT_TRUE(runUntil([&] { return shown().anchor != 0; }));
}

TEST_F(WaylandOutputsTest, GoesWithAnOutputThatClosesItFirst) {
    begin();
    compositor().atOnce([&] {
        compositor().close("A");
        compositor().removeOutput("A");
    });
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,-A,"; }));
    EXPECT_TRUE(runUntil([&] { return compositor().surfaces().empty(); }));
}

TEST_F(WaylandOutputsTest, TellsOnceWhyTheCompositorRefusesIt) {
    begin();
    DesktopSurface &dead = surface().surface;
    compositor().refuse("A", 2);
    ASSERT_TRUE(runUntil([&] { return !recorder.losses.empty(); }));
    ASSERT_EQ(recorder.losses.size(), 1U);
    EXPECT_EQ(recorder.losses[0], "the compositor reports error 2 of zwlr_layer_surface_v1");
    dead.setBuffers(std::make_shared<SharedBuffers>(4U, 4U, 2U));
    dead.present(0, {{0, 0, 4, 4}});
    EXPECT_FALSE(NSRunLoop::mainRunLoop().runNextCall(Clock::current().deadlineAfter(0.1)));
    EXPECT_EQ(recorder.losses.size(), 1U);
}

TEST_F(WaylandOutputsTest, TellsOnceThatTheCompositorHasGone) {
    begin();
    compositor().hangUp();
    ASSERT_TRUE(runUntil([&] { return !recorder.losses.empty(); }));
    EXPECT_EQ(recorder.losses[0], "the compositor has ended the connection");
    EXPECT_FALSE(NSRunLoop::mainRunLoop().runNextCall(Clock::current().deadlineAfter(0.1)));
    EXPECT_EQ(recorder.losses.size(), 1U);
}

} // namespace
