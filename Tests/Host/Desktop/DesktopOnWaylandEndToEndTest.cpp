#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Displays/Wayland/HeadlessCompositor.h"
#include "Tests/Host/Displays/Wayland/TestClient.h"
#include "Tests/Host/Displays/Wayland/TestCompositor.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <unistd.h>

using ::testing::HasSubstr;
using Kind = HeadlessCompositor::Kind;
using WindowKind = TestClient::WindowKind;

namespace {

using nlohmann::json;

constexpr std::uint32_t kGreen = 0xFF20A020;

bool isRed(std::uint32_t pixel) { return (pixel & 0xFFFF00FF) == 0xFFFF0000; }
bool isBlue(std::uint32_t pixel) { return (pixel & 0xFFFF00FF) == 0xFF0000FF; }

/// The real host on a real compositor, with windows in front of the wallpaper.
class DesktopOnWayland : public DesktopProgramTest, public ::testing::WithParamInterface<Kind> {
  protected:
    void startBeacon(Kind kind, const HeadlessCompositor *parent = nullptr) {
        startCompositor(kind, parent);
        if (!_real) {
            return;
        }
        startHere(testBundle(folder(), "BeaconWallpaper"));
    }

    void startCompositor(Kind kind, const HeadlessCompositor *parent = nullptr,
                         const std::string &configuration = "") {
        if (!HeadlessCompositor::isInstalled(kind)) {
            GTEST_SKIP() << "needs the compositor and grim";
        }
        _real.emplace(kind, configuration, parent);
        ASSERT_NE(_real->socket(), "") << "the compositor does not start";
    }

    void startHere(const std::string &bundle) {
        start({bundle}, {"WAYLAND_DISPLAY=" + _real->socket(), "SWAYSOCK=" + _real->swaySocket()});
        ASSERT_TRUE(statusBecomes([](json output) { return output["frames"] > 3; })) << log();
    }

    void TearDown() override {
        DesktopProgramTest::TearDown();
        _real.reset();
    }

    std::uint32_t pixel(std::size_t x, std::size_t y) {
        const auto image = _real->picture(status().value("output", ""));
        return image && x < image->width() && y < image->height()
                   ? image->pixels()[y * image->width() + x]
                   : 0;
    }

    bool isPaused() {
        return statusBecomes([](json output) { return !output["pauseReasons"].empty(); });
    }

    bool isRunning() {
        return statusBecomes([](json output) { return output["pauseReasons"].empty(); });
    }

    bool hasSize(unsigned width, unsigned height, double density) {
        return statusBecomes([&](json output) {
            return output["width"] == width && output["height"] == height &&
                   output["density"] == density;
        });
    }

    /// Whether the output shows exactly the pixels that the view has drawn, while the view is
    /// paused.
    void expectSharp() {
        EXPECT_EQ(ctl({"pause"}).status(), 0);
        const auto isSame = [this] {
            const auto drawn = picture();
            const auto seen = _real->picture();
            return drawn && seen && drawn->width() == seen->width() &&
                   drawn->height() == seen->height() &&
                   std::equal(drawn->pixels(), drawn->pixels() + drawn->width() * drawn->height(),
                              seen->pixels());
        };
        EXPECT_TRUE(eventually(isSame));
        EXPECT_EQ(ctl({"resume"}).status(), 0);
    }

    std::optional<HeadlessCompositor> _real;
};

TEST_P(DesktopOnWayland, MovesBehindAWindow) {
    ASSERT_NO_FATAL_FAILURE(startBeacon(GetParam()));
    EXPECT_TRUE(eventually([this] { return isRed(pixel(5, 5)); }));
    const unsigned middle = status()["width"].get<unsigned>() / 2;
    TestClient client(_real->socket());
    client.openWindow(kGreen, WindowKind::Usual);
    EXPECT_TRUE(eventually([&] {
        client.serve();
        return pixel(middle, 300) == kGreen;
    }));
    client.closeWindow();
    EXPECT_TRUE(eventually([&] { return isRed(pixel(middle, 300)); }));
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(log(), "");
}

TEST_P(DesktopOnWayland, RestsBehindAFullScreenWindowWithoutUsingTheProcessor) {
    ASSERT_NO_FATAL_FAILURE(startBeacon(GetParam()));
    TestClient client(_real->socket());
    client.openWindow(kGreen, WindowKind::FullScreen);
    ASSERT_TRUE(isPaused());
    EXPECT_TRUE(usesNoProcessor());
    client.serve();
    client.closeWindow();
    EXPECT_TRUE(isRunning());
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before; }));
}

TEST_P(DesktopOnWayland, EndsWithTheCompositor) {
    ASSERT_NO_FATAL_FAILURE(startBeacon(GetParam()));
    _real->kill();
    EXPECT_EQ(waitForEnd(), 1);
    EXPECT_THAT(log(), HasSubstr("lumivera: Wayland: the compositor has ended"));
}

INSTANTIATE_TEST_SUITE_P(Compositors, DesktopOnWayland, ::testing::Values(Kind::Sway, Kind::Phoc),
                         [](const ::testing::TestParamInfo<Kind> &info) {
                             return info.param == Kind::Sway ? "Sway" : "Phoc";
                         });

class DesktopOnSway : public DesktopOnWayland {};

TEST_F(DesktopOnSway, HearsClicksOnTheDesktop) {
    ASSERT_NO_FATAL_FAILURE(startBeacon(Kind::Sway));
    ASSERT_TRUE(eventually([this] { return isRed(pixel(5, 5)); }));
    TestClient client(_real->socket());
    EXPECT_TRUE(eventually([&] {
        client.click(120, 80, 800, 600);
        return isBlue(pixel(5, 5));
    }));
}

/// Sway as it is installed, with a background and a bar of its own.
class DesktopOnStockSway : public DesktopOnSway {
  protected:
    void SetUp() override {
        if (!isInstalled("swaybg") || !isInstalled("swaybar")) {
            GTEST_SKIP() << "needs swaybg and swaybar";
        }
        ASSERT_NO_FATAL_FAILURE(startCompositor(Kind::Sway, nullptr,
                                                "output * bg #00ff00 solid_color\n"
                                                "bar {\n position top\n}\n"));
        ASSERT_TRUE(eventually([this] { return isGreen(own()); }));
        ASSERT_NO_FATAL_FAILURE(startHere(testBundle(folder(), "BeaconWallpaper")));
    }

    void chooseLayer(const std::string &layer) const {
        std::filesystem::create_directories(folder() + "/config/lumivera");
        _folder.write("config/lumivera/next", "layer = \"" + layer + "\"\n");
        std::filesystem::rename(folder() + "/config/lumivera/next",
                                folder() + "/config/lumivera/lumivera.toml");
    }

    /// A pixel beneath the bar and beside windows.
    std::uint32_t own() {
        const auto image = _real->picture();
        return image ? image->pixels()[image->width() * 300 + 5] : 0;
    }

    static bool isGreen(std::uint32_t pixel) { return pixel == 0xFF00FF00; }
};

TEST_F(DesktopOnStockSway, IsInFrontOfSwaysOwnBackground) {
    EXPECT_TRUE(eventually([this] { return isRed(own()); }));
    EXPECT_EQ(status()["layer"], "bottom");
    _real->tell("reload");
    EXPECT_TRUE(eventually([this] { return isRed(own()); }));
    EXPECT_EQ(quit(), 0);
    EXPECT_TRUE(eventually([this] { return isGreen(own()); }));
}

TEST_F(DesktopOnStockSway, LeavesTheOwnBackgroundAfterACrash) {
    ASSERT_TRUE(eventually([this] { return isRed(own()); }));
    end(SIGKILL);
    EXPECT_TRUE(eventually([this] { return isGreen(own()); }));
}

TEST_F(DesktopOnStockSway, RestsBehindTilesWithoutUsingTheProcessor) {
    TestClient left(_real->socket());
    TestClient right(_real->socket());
    left.openWindow(kGreen, WindowKind::Usual);
    ASSERT_TRUE(isPaused());
    right.openWindow(kGreen, WindowKind::Usual);
    EXPECT_TRUE(statusBecomes(
        [](json output) { return output["pauseReasons"] == json::array({"covered"}); }));
    EXPECT_TRUE(usesNoProcessor());
    left.serve();
    right.serve();
    _real->tell("floating toggle");
    _real->tell("workspace 2");
    EXPECT_TRUE(isRunning());
    _real->tell("workspace 1");
    ASSERT_TRUE(isPaused());
    right.closeWindow();
    left.closeWindow();
    EXPECT_TRUE(isRunning());
}

TEST_F(DesktopOnStockSway, GoesBehindItsBackgroundWhenTheUserWantsThat) {
    chooseLayer("background");
    EXPECT_TRUE(statusBecomes([](json output) { return output["layer"] == "background"; }));
    EXPECT_TRUE(eventually([this] { return isGreen(own()); }));
    chooseLayer("auto");
    EXPECT_TRUE(eventually([this] { return isRed(own()); }));
}

TEST_F(DesktopOnSway, IsSharpAtEveryScale) {
    ASSERT_NO_FATAL_FAILURE(startCompositor(Kind::Sway));
    ASSERT_NO_FATAL_FAILURE(startHere(shippedBundle("Lumivera.bundle")));
    expectSharp();
    _real->tell("output HEADLESS-1 scale 2");
    ASSERT_TRUE(hasSize(800, 600, 2));
    expectSharp();
    _real->tell("output HEADLESS-1 mode --custom 1200x900 scale 1.5");
    ASSERT_TRUE(hasSize(1200, 900, 1.5));
    expectSharp();
}

TEST_F(DesktopOnSway, FollowsTheOutputsThroughTenCycles) {
    if (!HeadlessCompositor::isInstalled(Kind::Sway)) {
        GTEST_SKIP() << "needs the compositor and grim";
    }
    const HeadlessCompositor outer(Kind::Sway);
    ASSERT_NE(outer.socket(), "");
    ASSERT_NO_FATAL_FAILURE(startBeacon(Kind::Sway, &outer));
    for (unsigned cycle = 0; cycle < 10; ++cycle) {
        outer.tell("kill");
        ASSERT_TRUE(eventually([this] { return status().empty(); })) << "in turn " << cycle;
        _real->tell("create_output");
        const unsigned width = 640 + 32 * cycle;
        outer.tell("output HEADLESS-1 mode --custom " + std::to_string(width) + "x480");
        ASSERT_TRUE(hasSize(width, 480, 1)) << "in turn " << cycle;
    }
    EXPECT_TRUE(eventually([this] { return isRed(pixel(5, 5)); }));
    EXPECT_EQ(children().size(), 1U);
    EXPECT_EQ(log(), "");
}

/// A program that locks the session, and is the compositor of what it shows behind its question.
class DesktopInALockScreen : public DesktopProgramTest {
  protected:
    void SetUp() override {
        bundle = testBundle(folder(), "BeaconWallpaper");
        startHeadless({bundle});
        ASSERT_TRUE(statusBecomes([](json output) { return output["frames"] > 3; })) << log();
        locker.addOutput("A", {});
        locker.listenAt(folder() + "/locker");
    }

    /// The arguments and the environment of a host in the lock screen.
    std::vector<std::string> arguments(const std::vector<std::string> &more) const {
        std::vector<std::string> all{"desktop", "--display", "wayland"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    ProgramRun::Options options() const {
        ProgramRun::Options options;
        options.environment = surroundings();
        options.environment.push_back("WAYLAND_DISPLAY=" + folder() + "/locker");
        return options;
    }

    std::string bundle;
    TestCompositor locker;
};

TEST_F(DesktopInALockScreen, RunsBesideTheHostOfTheSession) {
    const std::string text = folder() + "/guest-log";
    const int log = open(text.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const pid_t guest = ProgramRun::begin(arguments({"--standalone", bundle}), options(), log, log);
    close(log);
    EXPECT_TRUE(eventually([this] { return locker.surfaces().size() == 1; }));
    locker.configure("A", 640, 480);
    EXPECT_TRUE(eventually([this] { return locker.surfaceOn("A").pictures > 3; }))
        << contentsOf(text);
    EXPECT_EQ(status()["output"], "HEADLESS-1");
    locker.hangUp();
    EXPECT_EQ(ProgramRun::waitFor(guest), 1);
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before; }));
    EXPECT_EQ(quit(), 0);
}

TEST_F(DesktopInALockScreen, IsRefusedBesideAnotherHostWithoutTheOption) {
    const ProgramRun second(arguments({}), options());
    EXPECT_EQ(second.status(), 1);
    EXPECT_TRUE(second.saysOneLine()) << second.errors();
}

} // namespace
