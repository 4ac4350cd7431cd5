#include "Platform/CoreGraphics/CGImageDecoding.h"
#include "Tests/Host/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

// The program on a real, virtual screen: what is waited for is polled, with a limit that only a
// failure reaches.

namespace {

using Json = nlohmann::json;

// Points: how far a push takes a petal sideways at least, and how far its picture can reach from
// its middle.
constexpr double kBlownAway = 50;
constexpr double kPetalRadius = 20;

constexpr auto kLimit = std::chrono::seconds(30);

bool eventually(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (std::chrono::steady_clock::now() < end) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

bool isInstalled(const std::string &program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

std::string outputOf(const std::string &command) {
    std::FILE *pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> part;
    for (std::size_t count; (count = fread(part.data(), 1, part.size(), pipe)) > 0;) {
        text.append(part.data(), count);
    }
    pclose(pipe);
    return text;
}

/// A screen of its own for one test.
class VirtualScreen {
  public:
    VirtualScreen() {
        int ends[2];
        if (pipe(ends) != 0) {
            return;
        }
        _server = fork();
        if (_server == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string number = std::to_string(ends[1]);
            const int nothing = open("/dev/null", O_WRONLY);
            dup2(nothing, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "800x800x24",
                   "-nolisten", "tcp", nullptr);
            _exit(127);
        }
        close(ends[1]);
        char text[16] = {};
        if (read(ends[0], text, sizeof text - 1) > 0) {
            _name = ":" + std::string(text, strcspn(text, "\n"));
        }
        close(ends[0]);
    }

    ~VirtualScreen() {
        kill(_server, SIGTERM);
        ProgramRun::waitFor(_server);
    }

    VirtualScreen(const VirtualScreen &) = delete;
    VirtualScreen &operator=(const VirtualScreen &) = delete;

    /// Empty when the server could not be started.
    const std::string &name() const { return _name; }

    std::string run(const std::string &command) const {
        return outputOf("DISPLAY=" + _name + " " + command + " 2>/dev/null");
    }

  private:
    pid_t _server = -1;
    std::string _name;
};

class Window : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!isInstalled("Xvfb") || !isInstalled("xdotool") || !isInstalled("import")) {
            GTEST_SKIP() << "Xvfb, xdotool or imagemagick is not installed";
        }
        _screen.emplace();
        ASSERT_NE(_screen->name(), "") << "Xvfb does not start";
    }

    void TearDown() override {
        if (_process > 0) {
            kill(_process, SIGKILL);
            ProgramRun::waitFor(_process);
        }
    }

    void start(std::vector<std::string> more) {
        std::vector<std::string> arguments{
            "run", shippedBundle("Lumivera.bundle"), "--trace", trace(), "--size", "400x600"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ProgramRun::Options options;
        options.environment = {"DISPLAY=" + _screen->name(), "WAYLAND_DISPLAY",
                               "SDL_VIDEODRIVER=x11"};
        options.folder = _folder.path();
        _process = ProgramRun::begin(arguments, options, STDOUT_FILENO, STDERR_FILENO);
    }

    /// Starts it and waits for its first frame.
    void begin(std::vector<std::string> more = {}) {
        start(std::move(more));
        ASSERT_TRUE(eventually([this] { return !lines().empty(); })) << "no frame was shown";
        _window = _screen->run("xdotool search --name 'Blossom Lake'");
        _window.resize(strcspn(_window.c_str(), "\n"));
        ASSERT_NE(_window, "");
    }

    int end(int signal) {
        kill(_process, signal);
        return waitForEnd();
    }

    int waitForEnd() {
        const int status = ProgramRun::waitFor(_process);
        _process = -1;
        return status;
    }

    std::string trace() const { return _folder.pathOf("trace"); }

    /// The whole lines of the trace so far.
    std::vector<std::string> lines() const {
        std::istringstream text(contentsOf(trace()));
        std::vector<std::string> result;
        for (std::string line; std::getline(text, line) && !text.eof();) {
            result.push_back(line);
        }
        return result;
    }

    bool waitForFrames(std::size_t more) const {
        const std::size_t before = lines().size();
        return eventually([&] { return lines().size() >= before + more; });
    }

    /// Waits until no frame comes for a while.
    bool waitForStillness() const {
        std::size_t before = 0;
        return eventually([&] {
            const std::size_t last = std::exchange(before, lines().size());
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            return last == before && lines().size() == before;
        });
    }

    void xdotool(const std::string &arguments) const { _screen->run("xdotool " + arguments); }

    void press(const std::string &key) const { xdotool("key --window " + _window + " " + key); }

    void click(double x, double y) const {
        xdotool("mousemove --window " + _window + " " + std::to_string(std::lround(x)) + " " +
                std::to_string(std::lround(y)) + " click 1");
    }

    void pause() const {
        xdotool("windowfocus --sync " + _window);
        press("space");
        ASSERT_TRUE(waitForStillness());
    }

    Retained<CGImage> picture() const {
        const std::string path = _folder.pathOf("screen.png");
        _screen->run("import -window " + _window + " png:" + path);
        const std::string bytes = contentsOf(path);
        return CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
    }

    /// Ticks of the processor that the program has used so far.
    long cpuTime() const {
        std::string text = contentsOf("/proc/" + std::to_string(_process) + "/stat");
        std::istringstream fields(text.substr(text.rfind(')') + 2));
        std::string skipped;
        for (int i = 0; i < 11; ++i) {
            fields >> skipped;
        }
        long user = 0;
        long system = 0;
        fields >> user >> system;
        return user + system;
    }

    TemporaryFolder _folder;
    std::optional<VirtualScreen> _screen;
    std::string _window;
    pid_t _process = -1;
};

double distance(const Json &petal, double x, double y) {
    return std::hypot(petal[1].get<double>() - x, petal[2].get<double>() - y);
}

/// A petal of a trace line: the layer, and its place in it.
struct PetalPlace {
    std::size_t layer = 0;
    std::size_t index = 0;

    const Json &in(const Json &line) const { return line["layers"][layer][index]; }
};

/// The petal nearest to the middle of the window.
PetalPlace petalNearTheMiddle(const Json &line) {
    std::optional<PetalPlace> best;
    for (std::size_t layer = 0; layer < line["layers"].size(); ++layer) {
        for (std::size_t i = 0; i < line["layers"][layer].size(); ++i) {
            const PetalPlace place{layer, i};
            if (!best || distance(place.in(line), 200, 300) < distance(best->in(line), 200, 300)) {
                best = place;
            }
        }
    }
    return best.value();
}

/// Pixels that differ between two pictures of the window, within a box around a point.
std::size_t changedPixels(const CGImage &first, const CGImage &second, double x, double y,
                          double halfWidth, double halfHeight) {
    const auto within = [](double value, double end) {
        return static_cast<std::size_t>(std::clamp(value, 0.0, end));
    };
    std::size_t changed = 0;
    for (std::size_t row = within(y - halfHeight, 600); row < within(y + halfHeight, 600); ++row) {
        for (std::size_t column = within(x - halfWidth, 400); column < within(x + halfWidth, 400);
             ++column) {
            const std::size_t at = row * 400 + column;
            changed += first.pixels()[at] != second.pixels()[at] ? 1 : 0;
        }
    }
    return changed;
}

TEST_F(Window, ShowsTheWallpaperAndEndsWithTheTerminationSignal) {
    begin();
    const auto image = picture();
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 400u);
    EXPECT_EQ(image->height(), 600u);
    EXPECT_NE(image->pixels()[0], image->pixels()[400 * 599]);
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(Window, EndsWithTheInterruptSignal) {
    begin();
    EXPECT_EQ(end(SIGINT), 0);
}

TEST_F(Window, EndsByItselfAfterTheSeconds) {
    start({"--seconds", "1"});
    EXPECT_EQ(waitForEnd(), 0);
}

// One petal over a picture that stands still, so that what changes beside it is the petal.
TEST_F(Window, BlowsAPetalAwayFromAClickInTheTraceAndInThePicture) {
    begin({"--speed", "1", "--count", "1"});
    pause();
    const auto before = Json::parse(lines().back());
    const PetalPlace petal = petalNearTheMiddle(before);
    const double x = petal.in(before)[1].get<double>();
    const auto pictureBefore = picture();
    // Towards the middle, where there is room.
    const double side = x > 200 ? -1 : 1;
    click(x - side * 15, petal.in(before)[2].get<double>());
    press("space");
    EXPECT_TRUE(eventually([&] {
        const auto line = Json::parse(lines().back());
        return side * (petal.in(line)[1].get<double>() - x) > kBlownAway;
    }));
    pause();
    const double y = petal.in(Json::parse(lines().back()))[2].get<double>();
    const auto pictureNow = picture();
    ASSERT_TRUE(pictureBefore && pictureNow);
    const double middle = x + side * (kBlownAway - kPetalRadius + 60);
    EXPECT_GT(changedPixels(*pictureBefore, *pictureNow, middle, y, 60, kPetalRadius), 50u);
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(Window, EndsWhileInputIsPending) {
    for (int i = 0; i < 5; ++i) {
        begin();
        kill(_process, SIGSTOP);
        for (const char *place : {"50 50", "200 300", "350 550"}) {
            xdotool("mousemove --window " + _window + " " + place);
        }
        kill(_process, SIGTERM);
        kill(_process, SIGCONT);
        EXPECT_EQ(waitForEnd(), 0);
        std::filesystem::remove(trace());
    }
}

TEST_F(Window, UsesNoProcessorTimeWhileItIsHiddenAndGoesOnWhenItIsShown) {
    begin();
    ASSERT_TRUE(waitForFrames(10));
    xdotool("windowunmap --sync " + _window);
    ASSERT_TRUE(waitForStillness());
    const std::size_t frames = lines().size();
    const long cpu = cpuTime();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(cpuTime(), cpu);
    EXPECT_EQ(lines().size(), frames);
    xdotool("windowmap " + _window);
    EXPECT_TRUE(waitForFrames(10));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(Window, FillsANewWidthWithFreshPetals) {
    begin({"--count", "300"});
    xdotool("windowsize " + _window + " 790 400");
    const auto reachesTheRight = [this] {
        const auto line = Json::parse(lines().back());
        std::size_t right = 0;
        for (const Json &petal : line["layers"][0]) {
            right += petal[1].get<double>() > 500 ? 1 : 0;
        }
        return right > 20;
    };
    EXPECT_TRUE(eventually(reachesTheRight));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(Window, ObeysItsKeys) {
    begin({"--count", "30"});
    xdotool("windowfocus " + _window);
    xdotool("key --window " + _window + " plus");
    EXPECT_TRUE(eventually([this] {
        const auto line = Json::parse(lines().back());
        return line["layers"][0].size() > 13;
    }));
    xdotool("key --window " + _window + " s");
    EXPECT_TRUE(eventually([this] {
        return !outputOf("ls " + _folder.path() + "/lumivera-*.png 2>/dev/null").empty();
    }));
    xdotool("key --window " + _window + " q");
    EXPECT_EQ(waitForEnd(), 0);
}

} // namespace
