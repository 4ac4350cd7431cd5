#include "Platform/Foundation/NSRunLoop.h"
#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

using namespace Lumivera;

namespace {

using WaylandPicturesTest = WaylandDesktopTest;

constexpr std::uint32_t kMaximized = 0;
constexpr std::uint32_t kMinimized = 1;
constexpr std::uint32_t kActivated = 2;
constexpr std::uint32_t kFullScreen = 3;

TEST_F(WaylandPicturesTest, WantsTheFirstPictureAtOnceAndThenTheFreeOne) {
    begin();
    EXPECT_EQ(surface().wishes, "0");
    for (std::uint32_t color = 1; color <= 4; ++color) {
        show(0xFF000000 + color);
        EXPECT_EQ(shown().corner, 0xFF000000 + color);
    }
    ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    EXPECT_EQ(surface().wishes, "01010");
}

TEST_F(WaylandPicturesTest, IsNotAskedWithinACallOfTheSurface) {
    begin();
    surface().wishes.clear();
    surface().giveMemory();
    EXPECT_EQ(surface().wishes, "");
    EXPECT_TRUE(runUntil([&] { return surface().wishes == "0"; }));
}

TEST_F(WaylandPicturesTest, SaysWhatHasChangedWithinThePicture) {
    begin();
    surface().draw(0xFF000001, {{3, 3, 4, 4}});
    ASSERT_TRUE(runUntil([&] { return shown().pictures == 1; }));
    EXPECT_EQ(shown().damage, (std::vector<DeviceRect>{{0, 0, 640, 480}}));
    ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    surface().draw(0xFF000002, {{10, 20, 30, 40}, {-5, -5, 5, 5}, {700, 0, 800, 9}});
    ASSERT_TRUE(runUntil([&] { return shown().pictures == 2; }));
    EXPECT_EQ(shown().damage, (std::vector<DeviceRect>{{10, 20, 30, 40}, {0, 0, 5, 5}}));
}

TEST_F(WaylandPicturesTest, TellsOldCompositorsThatEverythingHasChanged) {
    TestCompositor::Options options;
    options.surfaceVersion = 3;
    begin(options);
    show(0xFF000001);
    EXPECT_EQ(shown().damage.size(), 1U);
}

TEST_F(WaylandPicturesTest, WantsNoPictureBeforeTheLastOneIsOnTheScreen) {
    begin();
    compositor().withholdFrames(true);
    show(0xFF000001);
    catchUp();
    EXPECT_EQ(surface().wishes, "0");
    compositor().withholdFrames(false);
    EXPECT_TRUE(runUntil([&] { return surface().wishes == "01"; }));
}

TEST_F(WaylandPicturesTest, WantsNoPictureThatIsStillRead) {
    begin();
    compositor().withholdReleases(true);
    show(0xFF000001);
    show(0xFF000002);
    catchUp();
    EXPECT_EQ(surface().wishes, "01");
    compositor().withholdReleases(false);
    EXPECT_TRUE(runUntil([&] { return surface().wishes == "010"; }));
}

TEST_F(WaylandPicturesTest, WantsTheFirstPictureOfNewMemoryWhateverWasBefore) {
    begin();
    compositor().withholdFrames(true);
    compositor().withholdReleases(true);
    show(0xFF000001);
    const std::weak_ptr<SharedBuffers> old = surface().memory;
    compositor().configure("A", 320, 200);
    ASSERT_TRUE(runUntil([&] { return surface().wishes == "00"; }));
    EXPECT_FALSE(old.expired());
    show(0xFF000002);
    EXPECT_EQ(shown().width, 320);
    EXPECT_FALSE(old.expired());
    compositor().withholdReleases(false);
    EXPECT_TRUE(runUntil([&] { return old.expired(); }));
}

TEST_F(WaylandPicturesTest, ShowsNothingThatWasNotWanted) {
    begin();
    surface().surface.present(1, {{0, 0, 9, 9}});
    surface().surface.present(7, {{0, 0, 9, 9}});
    show(0xFF000001);
    surface().surface.present(0, {{0, 0, 9, 9}});
    catchUp();
    EXPECT_EQ(shown().pictures, 1);
}

TEST_F(WaylandPicturesTest, IsCoveredWhileNoPicturesAreAskedForAndDoesNotWaitByTheClock) {
    begin();
    compositor().withholdFrames(true);
    show(0xFF000001);
    surface().heard.clear();
    ASSERT_TRUE(runUntil([&] { return surface().heard == "covered,"; }));
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), Clock::kNever);
    compositor().withholdFrames(false);
    EXPECT_TRUE(runUntil([&] { return surface().heard == "covered,visible,"; }));
    EXPECT_TRUE(runUntil([&] { return surface().wishes == "01"; }));
}

TEST_F(WaylandPicturesTest, IsCoveredFromTheSecondLateCallbackUntilOneComesInTime) {
    begin();
    surface().heard.clear();
    for (int turn = 0; turn < 2; ++turn) {
        compositor().withholdFrames(true);
        show(0xFF000001);
        ASSERT_TRUE(runUntil([&] { return surface().heard.ends_with("covered,"); }));
        compositor().sendFrames();
        catchUp();
    }
    EXPECT_EQ(surface().heard, "covered,visible,covered,");
    EXPECT_EQ(surface().wishes, "01");
    const int pictures = shown().pictures;
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    compositor().sendFrames();
    catchUp();
    EXPECT_EQ(surface().heard, "covered,visible,covered,");
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), Clock::kNever);
    compositor().sendFrames();
    EXPECT_TRUE(runUntil([&] { return surface().heard == "covered,visible,covered,visible,"; }));
    EXPECT_EQ(shown().pictures, pictures);
    EXPECT_TRUE(runUntil([&] { return surface().wishes == "010"; }));
}

TEST_F(WaylandPicturesTest, IsCoveredWhileNoPictureIsReleased) {
    begin();
    compositor().withholdReleases(true);
    show(0xFF000001);
    show(0xFF000002);
    surface().heard.clear();
    ASSERT_TRUE(runUntil([&] { return surface().heard == "covered,"; }));
    compositor().withholdReleases(false);
    EXPECT_TRUE(runUntil([&] { return surface().heard == "covered,visible,"; }));
}

TEST_F(WaylandPicturesTest, LeavesTheScreenAndComesBackWithAListener) {
    begin();
    show(0xFF000001);
    surface().surface.setListener(nullptr);
    surface().surface.withdraw();
    EXPECT_TRUE(runUntil([&] { return shown().layerNamespace.empty(); }));
    surface().surface.setListener(&surface());
    ASSERT_TRUE(runUntil([&] { return !shown().layerNamespace.empty(); }));
    compositor().configure("A", 640, 480);
    surface().wanted.reset();
    surface().giveMemory();
    ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    show(0xFF000002);
    EXPECT_EQ(shown().corner, 0xFF000002);
}

TEST_F(WaylandPicturesTest, IsVisibleAsLongAsTheNextPictureIsAskedForHoweverLateItIsDrawn) {
    begin();
    show(0xFF000001);
    ASSERT_TRUE(runUntil([&] { return surface().wishes == "01"; }));
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), Clock::kNever);
    EXPECT_EQ(surface().surface.visibility(), SurfaceVisibility::Visible);
}

TEST_F(WaylandPicturesTest, IsHiddenByAWindowThatHasTheWholeOutput) {
    begin();
    surface().heard.clear();
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kFullScreen, kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return surface().heard == "full,"; }));
    compositor().changeToplevel(0, {{kFullScreen, kActivated, kMinimized}, "A"});
    ASSERT_TRUE(runUntil([&] { return surface().heard == "full,visible,"; }));
    compositor().changeToplevel(0, {{kFullScreen, kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return surface().heard == "full,visible,full,"; }));
    compositor().closeToplevel(0);
    ASSERT_TRUE(runUntil([&] { return surface().heard == "full,visible,full,visible,"; }));
}

/// Windows that may be elsewhere: on another workspace, or on an output that the compositor does
/// not tell.
class WaylandDoubtfulWindow : public WaylandPicturesTest,
                              public ::testing::WithParamInterface<TestCompositor::Toplevel> {};

TEST_P(WaylandDoubtfulWindow, IsTakenForHidingOnlyWhenSomethingDoes) {
    begin();
    compositor().addToplevel();
    compositor().changeToplevel(0, GetParam());
    catchUp();
    EXPECT_EQ(surface().surface.visibility(), SurfaceVisibility::Visible);
    compositor().withholdFrames(true);
    show(0xFF000001);
    EXPECT_TRUE(
        runUntil([&] { return surface().surface.visibility() == SurfaceVisibility::FullScreen; }));
}

INSTANTIATE_TEST_SUITE_P(
    Windows, WaylandDoubtfulWindow,
    ::testing::Values(TestCompositor::Toplevel{{kFullScreen}, "A"},
                      TestCompositor::Toplevel{{kFullScreen, kActivated}, "none"}),
    [](const auto &info) { return info.index == 0 ? "OnAWorkspace" : "OnNoOutput"; });

TEST_F(WaylandPicturesTest, IsCoveredByTheMaximizedWindowThatIsWorkedIn) {
    begin();
    surface().heard.clear();
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kMaximized, kActivated}, "A"});
    ASSERT_TRUE(runUntil([&] { return surface().heard == "covered,"; }));
    compositor().changeToplevel(0, {{kMaximized}, "A"});
    ASSERT_TRUE(runUntil([&] { return surface().heard == "covered,visible,"; }));
}

TEST_F(WaylandPicturesTest, IsNotHiddenByWindowsOnOtherOutputs) {
    begin();
    surface().heard.clear();
    compositor().addOutput("B", {});
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,+B,"; }));
    const SurfaceRecorder &other = *recorder.surfaces.back();
    compositor().addToplevel();
    compositor().changeToplevel(0, {{kFullScreen, kActivated}, "B"});
    ASSERT_TRUE(runUntil([&] { return other.heard.find("full,") != std::string::npos; }));
    EXPECT_EQ(surface().heard, "");
    compositor().removeOutput("B");
    catchUp();
    EXPECT_EQ(surface().surface.visibility(), SurfaceVisibility::Visible);
}

} // namespace
