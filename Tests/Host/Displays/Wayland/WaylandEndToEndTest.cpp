#include "Tests/Host/Displays/Wayland/HeadlessCompositor.h"
#include "Tests/Host/Displays/Wayland/TestClient.h"
#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <cstdlib>
#include <optional>

using namespace Lumivera;
using Kind = HeadlessCompositor::Kind;
using WindowKind = TestClient::WindowKind;

namespace {

constexpr std::uint32_t kBlue = 0xFF2040A0;
constexpr std::uint32_t kRed = 0xFFC02020;
constexpr std::uint32_t kGreen = 0xFF20A020;

/// Neighbouring pixels differ, so that blurring or scaling changes every pixel.
std::uint32_t checkerAt(unsigned x, unsigned y) {
    return (x + y) % 2 == 0 ? 0xFF000000 | (x * 7 % 256) << 8 | (y * 5 % 256) : 0xFFFFFFFF;
}

std::uint32_t pixelOf(const CGImage *image, NSUInteger x, NSUInteger y) {
    return image && x < image->width() && y < image->height()
               ? image->pixels()[y * image->width() + x]
               : 0;
}

/// A desktop on a real compositor.
class WaylandEndToEndTest : public WaylandDesktopTest, public ::testing::WithParamInterface<Kind> {
  protected:
    void start(Kind kind, const std::string &configuration = "",
               const HeadlessCompositor *parent = nullptr) {
        if (!HeadlessCompositor::isInstalled(kind)) {
            GTEST_SKIP() << "needs the compositor and grim";
        }
        real.emplace(kind, configuration, parent);
        ASSERT_NE(real->socket(), "") << "the compositor does not start";
        setenv("WAYLAND_DISPLAY", real->socket().c_str(), 1);
        connect();
        unsetenv("WAYLAND_DISPLAY");
        ASSERT_TRUE(runUntil([&] { return hasSurface() && surface().wanted.has_value(); }));
    }

    bool hasSurface() const { return !recorder.surfaces.empty(); }

    Retained<CGImage> picture() { return real->picture(surface().surface.outputName()); }

    /// Draws whenever asked to, until the output shows the colour at a place.
    bool shows(std::uint32_t color, unsigned x, unsigned y) {
        return runUntil([&] {
            if (hasSurface()) {
                surface().draw(kBlue);
            }
            return hasSurface() && pixelOf(picture().get(), x, y) == color;
        });
    }

    /// Draws until the surface is visible or not; how many seconds that took.
    double secondsUntil(SurfaceVisibility visibility) {
        const Clock::Nanoseconds start = Clock::current().now();
        runUntil([&] {
            surface().draw(kBlue);
            return surface().surface.visibility() == visibility;
        });
        return static_cast<double>(Clock::current().now() - start) / 1e9;
    }

    /// Draws a picture in which neighbouring pixels differ, and counts the pixels that the output
    /// shows differently.
    std::size_t blurredPixels();

    std::optional<HeadlessCompositor> real;
};

std::size_t WaylandEndToEndTest::blurredPixels() {
    EXPECT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    const unsigned width = surface().memory->width();
    const unsigned height = surface().memory->height();
    std::uint32_t *const pixels = surface().memory->pixels(*surface().wanted);
    for (unsigned i = 0; i < width * height; ++i) {
        pixels[i] = checkerAt(i % width, i / width);
    }
    surface().surface.present(*surface().wanted, {});
    surface().wanted.reset();
    EXPECT_TRUE(runUntil([&] { return surface().wanted.has_value(); }));
    const Retained<CGImage> seen = picture();
    if (!seen || seen->width() != width || seen->height() != height) {
        ADD_FAILURE() << "the output is " << (seen ? seen->width() : 0) << " pixels wide, "
                      << "the surface " << width;
        return width * height;
    }
    std::size_t count = 0;
    for (unsigned i = 0; i < width * height; ++i) {
        count += seen->pixels()[i] == checkerAt(i % width, i / width) ? 0 : 1;
    }
    return count;
}

using BothCompositors = WaylandEndToEndTest;

TEST_P(BothCompositors, ShowThePictureBehindAWindow) {
    ASSERT_NO_FATAL_FAILURE(start(GetParam()));
    ASSERT_TRUE(shows(kBlue, 5, 5));
    const unsigned width = surface().surface.geometry().width;
    TestClient client(real->socket());
    client.openWindow(kRed, WindowKind::Usual);
    EXPECT_TRUE(runUntil([&] {
        client.serve();
        return pixelOf(picture().get(), width / 2, 300) == kRed;
    }));
    client.closeWindow();
    EXPECT_TRUE(shows(kBlue, width / 2, 300));
}

TEST_P(BothCompositors, HideItBehindAFullScreenWindow) {
    ASSERT_NO_FATAL_FAILURE(start(GetParam()));
    ASSERT_TRUE(shows(kBlue, 5, 5));
    TestClient client(real->socket());
    client.openWindow(kGreen, WindowKind::FullScreen);
    EXPECT_LT(secondsUntil(SurfaceVisibility::FullScreen), 1);
    client.serve();
    client.closeWindow();
    EXPECT_LT(secondsUntil(SurfaceVisibility::Visible), 1);
    EXPECT_TRUE(shows(kBlue, 5, 5));
}

TEST_P(BothCompositors, AreLostOnceWhenTheyAreKilled) {
    ASSERT_NO_FATAL_FAILURE(start(GetParam()));
    real->kill();
    ASSERT_TRUE(runUntil([&] { return !recorder.losses.empty(); }));
    EXPECT_EQ(recorder.losses[0], "the compositor has ended the connection");
}

INSTANTIATE_TEST_SUITE_P(Wayland, BothCompositors, ::testing::Values(Kind::Sway, Kind::Phoc),
                         [](const ::testing::TestParamInfo<Kind> &info) {
                             return info.param == Kind::Sway ? "Sway" : "Phoc";
                         });

TEST_F(WaylandEndToEndTest, IsSharpAtEveryScale) {
    ASSERT_NO_FATAL_FAILURE(start(Kind::Sway));
    EXPECT_EQ(blurredPixels(), 0U);
    real->tell("output HEADLESS-1 scale 2");
    ASSERT_TRUE(runUntil([&] { return surface().surface.geometry().density == 2; }));
    EXPECT_EQ(blurredPixels(), 0U);
    real->tell("output HEADLESS-1 mode --custom 1200x900 scale 1.5");
    ASSERT_TRUE(runUntil([&] {
        return surface().surface.geometry() == SurfaceGeometry{1200, 900, 1.5};
    }));
    EXPECT_EQ(blurredPixels(), 0U);
}

TEST_F(WaylandEndToEndTest, IsSharpAtAFractionalScaleOfPhoc) {
    if (!isInstalled("wlr-randr")) {
        GTEST_SKIP() << "needs wlr-randr";
    }
    ASSERT_NO_FATAL_FAILURE(start(Kind::Phoc));
    real->run("wlr-randr --output HEADLESS-1 --custom-mode 1200x900 --scale 1.5");
    ASSERT_TRUE(runUntil([&] {
        return surface().surface.geometry() == SurfaceGeometry{1200, 900, 1.5};
    }));
    EXPECT_EQ(blurredPixels(), 0U);
}

TEST_F(WaylandEndToEndTest, HearsOfTheClicksOnTheDesktop) {
    ASSERT_NO_FATAL_FAILURE(start(Kind::Sway));
    ASSERT_TRUE(shows(kBlue, 5, 5));
    surface().heard.clear();
    TestClient client(real->socket());
    // The pointer is new: its events are lost until the desktop has bound it.
    EXPECT_TRUE(runUntil([&] {
        client.click(120, 80, 800, 600);
        return !surface().heard.empty();
    }));
    EXPECT_EQ(surface().heard.substr(0, 11), "tap 120 80,");
}

TEST_F(WaylandEndToEndTest, FollowsAnOutputThatIsTurned) {
    ASSERT_NO_FATAL_FAILURE(start(Kind::Sway));
    real->tell("output HEADLESS-1 transform 90");
    ASSERT_TRUE(runUntil([&] {
        return surface().surface.geometry() == SurfaceGeometry{600, 800, 1};
    }));
    EXPECT_EQ(blurredPixels(), 0U);
}

TEST_F(WaylandEndToEndTest, SurvivesOutputsThatComeAndGoAndChange) {
    if (!HeadlessCompositor::isInstalled(Kind::Sway)) {
        GTEST_SKIP() << "needs sway and grim";
    }
    const HeadlessCompositor outer(Kind::Sway);
    ASSERT_NE(outer.socket(), "");
    ASSERT_NO_FATAL_FAILURE(start(Kind::Sway, "", &outer));
    for (unsigned turn = 0; turn < 10; ++turn) {
        outer.tell("kill");
        ASSERT_TRUE(runUntil([&] { return !hasSurface(); })) << turn;
        real->tell("create_output");
        ASSERT_TRUE(runUntil([&] { return hasSurface(); })) << turn;
        const unsigned width = 640 + 32 * turn;
        outer.tell("output HEADLESS-1 mode --custom " + std::to_string(width) + "x480");
        ASSERT_TRUE(runUntil([&] {
            return surface().surface.geometry() == SurfaceGeometry{width, 480, 1};
        })) << turn;
        ASSERT_TRUE(shows(kBlue, width - 1, 479)) << turn;
    }
    EXPECT_EQ(recorder.surfaces.size(), 1U);
    EXPECT_TRUE(recorder.losses.empty());
}

TEST_F(WaylandEndToEndTest, IsVisibleOnAnotherWorkspaceThanTheFullScreenWindow) {
    ASSERT_NO_FATAL_FAILURE(start(Kind::Sway));
    TestClient client(real->socket());
    client.openWindow(kGreen, WindowKind::FullScreen);
    EXPECT_LT(secondsUntil(SurfaceVisibility::FullScreen), 1);
    real->tell("workspace 2");
    EXPECT_LT(secondsUntil(SurfaceVisibility::Visible), 1);
    EXPECT_TRUE(shows(kBlue, 5, 5));
}

TEST_F(WaylandEndToEndTest, IsCoveredByAMaximizedWindowOfPhoc) {
    ASSERT_NO_FATAL_FAILURE(start(Kind::Phoc));
    TestClient client(real->socket());
    client.openWindow(kGreen, WindowKind::Maximized);
    EXPECT_LT(secondsUntil(SurfaceVisibility::Covered), 1);
    client.closeWindow();
    EXPECT_LT(secondsUntil(SurfaceVisibility::Visible), 1);
}

} // namespace
