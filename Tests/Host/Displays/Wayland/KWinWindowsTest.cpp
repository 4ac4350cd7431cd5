#include "Host/Displays/Wayland/KWinWindows.h"

#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

#include <climits>

using namespace Lumivera;

namespace {

constexpr std::uint32_t kActive = 1;
constexpr std::uint32_t kMinimized = 2;
constexpr std::uint32_t kMaximized = 4;
constexpr std::uint32_t kFullScreen = 8;
constexpr std::uint32_t kNotOnTaskBar = 1 << 12;

const DeviceRect kOutput{0, 0, 640, 480};
const DeviceRect kAbovePanel{0, 0, 640, 440};
const DeviceRect kSmall{100, 100, 200, 200};

/// An output of 640 x 480 points with Plasma's own desktop and a panel at the bottom.
class KWinWindowsTest : public WaylandDesktopTest {
  protected:
    using Window = TestCompositor::KWinWindow;

    static constexpr std::size_t kDesktop = 0;

    /// The number of the first window that a test adds.
    static constexpr std::size_t kFirst = 2;

    void SetUp() override {
        TestCompositor::Options options;
        options.isKWins = true;
        options.hasOutputManager = true;
        options.hasToplevels = false;
        compositor(options).setLogicalSize(640, 480);
        compositor().addKWinWindow({kNotOnTaskBar | kActive, kOutput, {}, {}});
        compositor().addKWinWindow({kNotOnTaskBar, {0, 440, 640, 480}, {}, {}});
        compositor().addOutput("A", {});
        connect();
        ASSERT_TRUE(runUntil([&] { return compositor().surfaces().size() == 1; }));
        compositor().configure("A", 640, 480);
        ASSERT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    }

    /// Adds the window in which the user works.
    void addActive(std::uint32_t states, const DeviceRect &area) {
        compositor().changeKWinWindow(kDesktop, {kNotOnTaskBar, kOutput, {}, {}});
        add(states | kActive, area);
    }

    /// Adds a window of the first desktop.
    void add(std::uint32_t states, const DeviceRect &area) {
        compositor().addKWinWindow({states, area, {"1"}, {"work"}});
    }

    bool becomes(SurfaceVisibility visibility) {
        return runUntil([&] { return surface().surface.visibility() == visibility; });
    }

    bool becomesCovered() { return becomes(SurfaceVisibility::Covered); }
    bool becomesVisible() { return becomes(SurfaceVisibility::Visible); }

    /// Whether it is visible once everything has arrived.
    bool staysVisible() {
        catchUp();
        catchUp();
        return surface().surface.visibility() == SurfaceVisibility::Visible;
    }
};

TEST_F(KWinWindowsTest, AreNotPlasmasOwnDesktopAndPanels) { EXPECT_TRUE(staysVisible()); }

TEST_F(KWinWindowsTest, HideTheOutputWhenOneIsMaximized) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    compositor().closeKWinWindow(kFirst);
    EXPECT_TRUE(becomesVisible());
    EXPECT_TRUE(runUntil([&] { return compositor().watchedKWinWindows() == 2; }));
}

TEST_F(KWinWindowsTest, HideTheOutputWhenOneIsFullScreen) {
    addActive(kFullScreen, kOutput);
    EXPECT_TRUE(becomes(SurfaceVisibility::FullScreen));
}

TEST_F(KWinWindowsTest, HideTheOutputBehindTheOneInWhichTheUserWorks) {
    add(kMaximized, kAbovePanel);
    addActive(0, kSmall);
    EXPECT_TRUE(becomesCovered());
}

TEST_F(KWinWindowsTest, HideTheOutputSideBySideWithNarrowGaps) {
    addActive(0, {0, 0, 315, 440});
    add(0, {325, 0, 640, 440});
    ASSERT_TRUE(becomesCovered());
    compositor().moveKWinWindow(kFirst + 1, 340, 0, 300, 440);
    EXPECT_TRUE(becomesVisible());
}

TEST_F(KWinWindowsTest, HideNothingWhileMinimized) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    compositor().changeKWinWindow(kFirst, {kMaximized | kMinimized, kAbovePanel, {"1"}, {"work"}});
    addActive(0, kSmall);
    EXPECT_TRUE(becomesVisible());
}

TEST_F(KWinWindowsTest, HideNothingWhileNoneIsActive) {
    add(kMaximized, kAbovePanel);
    EXPECT_TRUE(staysVisible());
    compositor().changeKWinWindow(kDesktop, {kNotOnTaskBar, kOutput, {}, {}});
    EXPECT_TRUE(staysVisible());
}

TEST_F(KWinWindowsTest, HideNothingWhileTheDesktopIsShown) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    compositor().showDesktop(true);
    ASSERT_TRUE(becomesVisible());
    compositor().showDesktop(false);
    EXPECT_TRUE(becomesCovered());
}

TEST_F(KWinWindowsTest, HideNothingFromAnotherDesktop) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    compositor().atOnce([&] {
        compositor().changeKWinWindow(kFirst, {kMaximized, kAbovePanel, {"1"}, {"work"}});
        compositor().addKWinWindow({kActive, kSmall, {"2"}, {"work"}});
    });
    ASSERT_TRUE(becomesVisible());
    compositor().changeKWinWindow(kFirst, {kMaximized, kAbovePanel, {"1", "2"}, {"work"}});
    ASSERT_TRUE(becomesCovered());
    compositor().changeKWinWindow(kFirst, {kMaximized, kAbovePanel, {}, {"work"}});
    EXPECT_TRUE(becomesCovered());
}

TEST_F(KWinWindowsTest, HideNothingFromAnotherActivity) {
    add(kMaximized, kAbovePanel);
    compositor().changeKWinWindow(kDesktop, {kNotOnTaskBar, kOutput, {}, {}});
    compositor().addKWinWindow({kActive, kSmall, {"1"}, {"home"}});
    EXPECT_TRUE(staysVisible());
}

TEST_F(KWinWindowsTest, HideNothingWhereTheActiveOneIsOnSeveralDesktopsAndTheyAreOnOne) {
    add(kMaximized, kAbovePanel);
    compositor().changeKWinWindow(kDesktop, {kNotOnTaskBar, kOutput, {}, {}});
    compositor().addKWinWindow({kActive, kSmall, {"1", "2"}, {"work"}});
    EXPECT_TRUE(staysVisible());
}

TEST_F(KWinWindowsTest, HideTheirOwnOutputAlone) {
    compositor().addOutput("B", {640, 480, 1, 0, 640, 0});
    ASSERT_TRUE(runUntil([&] { return recorder.heard == "+A,+B,"; }));
    const SurfaceRecorder &other = *recorder.surfaces.back();
    addActive(kMaximized, {640, 0, 1280, 440});
    ASSERT_TRUE(runUntil([&] { return other.surface.visibility() == SurfaceVisibility::Covered; }));
    EXPECT_TRUE(staysVisible());
}

TEST_F(KWinWindowsTest, MayHaveAnyNumbersForPlaces) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    compositor().moveKWinWindow(kFirst, INT_MAX, INT_MIN, UINT_MAX, UINT_MAX);
    ASSERT_TRUE(becomesVisible());
    compositor().moveKWinWindow(kFirst, INT_MIN, INT_MIN, UINT_MAX, UINT_MAX);
    EXPECT_TRUE(staysVisible());
    compositor().moveKWinWindow(kFirst, -10, -10, UINT_MAX, UINT_MAX);
    EXPECT_TRUE(becomesCovered());
}

TEST_F(KWinWindowsTest, MayBeGoneBeforeTheyAreAskedFor) {
    compositor().atOnce([&] {
        addActive(kMaximized, kAbovePanel);
        compositor().closeKWinWindow(kFirst);
    });
    EXPECT_TRUE(staysVisible());
    EXPECT_TRUE(runUntil([&] { return compositor().watchedKWinWindows() == 2; }));
}

TEST_F(KWinWindowsTest, AreForgottenWithTheDesktop) {
    addActive(kMaximized, kAbovePanel);
    ASSERT_TRUE(becomesCovered());
    disconnect();
    EXPECT_TRUE(runUntil([&] { return compositor().watchedKWinWindows() == 0; }));
}

} // namespace
