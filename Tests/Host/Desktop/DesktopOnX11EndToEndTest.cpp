#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/VirtualScreen.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace {

using nlohmann::json;

/// The real host behind the windows of a real server.
class DesktopOnX11 : public DesktopProgramTest {
  protected:
    void begin(const std::vector<std::string> &arguments) {
        ASSERT_NE(_screen.name(), "") << "Xvfb does not start";
        start(arguments, {"DISPLAY=" + _screen.name()});
        ASSERT_TRUE(statusBecomes([](const json &output) { return output["frames"] > 5; }))
            << log();
    }

    /// Opens a window over all of the screen.
    void cover() {
        _screen.start({"xterm", "-title", "Wide", "-geometry", "20x10+0+0"});
        ASSERT_TRUE(eventually([this] {
            _window = _screen.run("xdotool search --onlyvisible --name Wide");
            _window.resize(std::strcspn(_window.c_str(), "\n"));
            return !_window.empty();
        }));
        _screen.run("xdotool windowsize --sync " + _window + " 800 800");
    }

    void uncover() { _screen.run("xdotool windowunmap " + _window); }

    std::string pauseReasons() { return status()["pauseReasons"].dump(); }

    VirtualScreen _screen;

  private:
    std::string _window;
};

TEST_F(DesktopOnX11, RestsBehindAWindowOverEverythingUntilItGoes) {
    begin({});
    cover();
    EXPECT_TRUE(statusBecomes(
        [](const json &output) { return output["pauseReasons"] == json{"covered"}; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const long ticks = cpuTicks();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(cpuTicks(), ticks);
    uncover();
    EXPECT_TRUE(statusBecomes([](const json &output) { return output["pauseReasons"].empty(); }));
    const auto frames = status()["frames"].get<std::uint64_t>();
    EXPECT_TRUE(statusBecomes([&](const json &output) { return output["frames"] > frames + 20; }));
    EXPECT_EQ(quit(), 0);
}

TEST_F(DesktopOnX11, GoesOnBehindAWindowWhereAskedTo) {
    begin({"--no-pause-when-covered"});
    cover();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const auto frames = status()["frames"].get<std::uint64_t>();
    EXPECT_TRUE(statusBecomes([&](const json &output) { return output["frames"] > frames + 20; }));
    EXPECT_EQ(pauseReasons(), "[]");
    EXPECT_EQ(quit(), 0);
}

TEST_F(DesktopOnX11, SaysThatTheServerHasGone) {
    begin({});
    _screen.end();
    EXPECT_EQ(waitForEnd(), 1);
    EXPECT_NE(log().find("X11: the X server has closed the connection"), std::string::npos);
}

} // namespace
