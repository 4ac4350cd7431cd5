#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include "Platform/CoreGraphics/CGImage.h"

#include <gmock/gmock.h>

#include <optional>

using ::testing::HasSubstr;

namespace {

using nlohmann::json;

constexpr int kWidth = 800;
constexpr int kHeight = 600;

/// The real host on a virtual screen, with windows in front of the wallpaper. The parameter says
/// whether a compositing manager runs there too.
class DesktopOnX11EndToEndTest : public DesktopProgramTest,
                                 public ::testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        for (const char *tool : {"Xvfb", "openbox", "picom", "xterm", "xdotool", "import"}) {
            if (!isInstalled(tool)) {
                GTEST_SKIP() << "needs " << tool;
            }
        }
        _screen.emplace("800x600x24");
        ASSERT_NE(_screen->name(), "");
        _screen->start({"openbox"});
        ASSERT_TRUE(eventually([this] {
            return _screen->run("xprop -root _NET_SUPPORTING_WM_CHECK").find("0x") !=
                   std::string::npos;
        }));
        if (GetParam()) {
            _screen->start({"picom", "--backend", "xrender", "--config", "/dev/null"});
        }
    }

    void TearDown() override {
        DesktopProgramTest::TearDown();
        _screen.reset();
    }

    void startBeacon(std::vector<std::string> options = {}) {
        options.insert(options.begin(), testBundle(folder(), "BeaconWallpaper"));
        start(options, {"DISPLAY=" + _screen->name()});
        ASSERT_TRUE(statusBecomes([](json output) { return output["frames"] > 3; })) << log();
    }

    /// Opens a white window and returns its number.
    std::string openWindow(const std::string &title, const std::vector<std::string> &more = {}) {
        std::vector<std::string> arguments{"xterm", "-T", title,   "-bg",
                                           "white", "-e", "sleep", "1000"};
        arguments.insert(arguments.end() - 3, more.begin(), more.end());
        _screen->start(arguments);
        std::string number;
        eventually([&] {
            number = _screen->run("xdotool search --onlyvisible --name '^" + title + "$'");
            return !number.empty();
        });
        return number.substr(0, number.find('\n'));
    }

    void xdotool(const std::string &arguments) { _screen->run("xdotool " + arguments); }

    std::uint32_t pixel(int x, int y) {
        const std::string path = folder() + "/screen.png";
        _screen->run("import -window root " + path);
        const std::string bytes = contentsOf(path);
        const auto image = CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
        return image ? image->pixels()[static_cast<std::size_t>(y) * image->width() +
                                       static_cast<std::size_t>(x)]
                     : 0;
    }

    bool isRed(int x, int y) { return (pixel(x, y) & 0xFFFF00FF) == 0xFFFF0000; }
    bool isBlue(int x, int y) { return (pixel(x, y) & 0xFFFF00FF) == 0xFF0000FF; }

    bool isPausedBy(const std::string &reason) {
        return statusBecomes(
            [&](json output) { return output["pauseReasons"] == json::array({reason}); });
    }

    bool isRunning() {
        return statusBecomes([](json output) { return output["pauseReasons"].empty(); });
    }

    std::optional<VirtualScreen> _screen;
};

TEST_P(DesktopOnX11EndToEndTest, MovesBehindAWindow) {
    startBeacon();
    EXPECT_TRUE(eventually([this] { return isRed(5, 5) && isRed(kWidth - 5, kHeight - 5); }));
    const std::string window = openWindow("Before");
    xdotool("windowmove --sync " + window + " 100 100");
    EXPECT_TRUE(eventually([this] { return pixel(250, 250) == 0xFFFFFFFF; }));
    const std::uint32_t before = pixel(5, 5);
    EXPECT_TRUE(eventually([&] { return pixel(5, 5) != before; })) << "it goes on";
    EXPECT_EQ(pixel(250, 250), 0xFFFFFFFF) << "but not in front";
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(log(), "");
}

TEST_P(DesktopOnX11EndToEndTest, HearsClicksBesideWindows) {
    startBeacon();
    ASSERT_TRUE(eventually([this] { return isRed(5, 5); }));
    const std::string window = openWindow("Before");
    xdotool("windowmove --sync " + window + " 100 100");
    xdotool("mousemove 250 250 click 1");
    xdotool("mousemove 700 500 click 1");
    EXPECT_TRUE(eventually([this] { return isBlue(5, 5); }));
}

TEST_P(DesktopOnX11EndToEndTest, RestsBehindAFullScreenWindowWithoutUsingTheProcessor) {
    startBeacon();
    const std::string window = openWindow("Film", {"-fullscreen"});
    ASSERT_TRUE(isPausedBy("fullscreen"));
    EXPECT_TRUE(usesNoProcessor());
    xdotool("windowkill " + window);
    EXPECT_TRUE(isRunning());
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before; }));
}

TEST_P(DesktopOnX11EndToEndTest, RestsBehindAWindowOverEverything) {
    startBeacon();
    const std::string window = openWindow("Wide");
    xdotool("windowsize --sync " + window + " 900 700");
    xdotool("windowmove --sync " + window + " -50 -50");
    EXPECT_TRUE(isPausedBy("covered"));
    xdotool("windowminimize " + window);
    EXPECT_TRUE(isRunning());
}

TEST_P(DesktopOnX11EndToEndTest, RestsOnABlankScreenWithoutUsingTheProcessor) {
    startBeacon();
    _screen->run("xset s activate");
    ASSERT_TRUE(isPausedBy("output-off"));
    EXPECT_TRUE(usesNoProcessor());
    _screen->run("xset s reset");
    EXPECT_TRUE(isRunning());
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before; }));
}

TEST_P(DesktopOnX11EndToEndTest, GoesOnBehindAFullScreenWindowWhereAskedTo) {
    startBeacon({"--no-pause-when-covered"});
    openWindow("Film", {"-fullscreen"});
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before + 100; }));
    EXPECT_TRUE(isRunning());
}

TEST_P(DesktopOnX11EndToEndTest, FollowsTheOutputsThroughTenCycles) {
    startBeacon();
    for (int cycle = 0; cycle < 10; ++cycle) {
        _screen->run("xrandr --setmonitor Left 300/80x600/160+0+0 screen");
        _screen->run("xrandr --setmonitor Right 500/130x600/160+300+0 none");
        ASSERT_TRUE(eventually([this] {
            const std::string outputs = ctl({"status"}).output();
            return outputs.find("Left") != std::string::npos &&
                   outputs.find("Right") != std::string::npos;
        })) << "in turn "
            << cycle;
        _screen->run("xrandr --delmonitor Right");
        _screen->run("xrandr --delmonitor Left");
        ASSERT_TRUE(statusBecomes([](json output) {
            return output["output"] == "screen" && output["width"] == kWidth &&
                   output["frames"] > 2;
        })) << "in turn "
            << cycle;
    }
    EXPECT_TRUE(eventually([this] { return isRed(5, 5) && isRed(kWidth - 5, kHeight - 5); }));
    EXPECT_TRUE(eventually([this] { return children().size() == 1; }));
    EXPECT_EQ(log(), "");
}

TEST_P(DesktopOnX11EndToEndTest, EndsWithTheWindowSystem) {
    startBeacon();
    _screen->end();
    EXPECT_EQ(waitForEnd(), 1);
    EXPECT_THAT(log(), HasSubstr("lumivera: X11: "));
}

INSTANTIATE_TEST_SUITE_P(Screens, DesktopOnX11EndToEndTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool> &info) {
                             return info.param ? "Composited" : "Plain";
                         });

} // namespace
