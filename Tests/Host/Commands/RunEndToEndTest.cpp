#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramWindowTest.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Support/WaveFile.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using ::testing::HasSubstr;

// The program on a virtual screen. Tests poll for what they wait for, with a limit that only a
// failure reaches.

namespace {

using Json = nlohmann::json;

/// In points: the least distance that a push moves a petal sideways, and the farthest that its
/// picture reaches from its centre.
constexpr double kBlownAway = 50;
constexpr double kPetalRadius = 20;

class Window : public ProgramWindowTest {
  protected:
    void start(const std::vector<std::string> &more) {
        std::vector<std::string> arguments{
            "run", shippedBundle("Lumivera.bundle"), "--trace", trace(), "--size", "400x600"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ProgramWindowTest::start(arguments);
    }

    /// Starts the program and waits for its first frame.
    void begin(const std::vector<std::string> &more = {}) {
        start(more);
        ASSERT_TRUE(eventually([this] { return !lines().empty(); })) << "no frame was shown";
        ASSERT_NO_FATAL_FAILURE(findWindow("Blossom Lake"));
    }

    std::string trace() const { return _folder.pathOf("trace"); }

    /// The complete lines of the trace so far.
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

    void pause() const {
        focus();
        press("space");
        ASSERT_TRUE(comesToRest(process()));
    }
};

double distance(const Json &petal, double x, double y) {
    return std::hypot(petal[1].get<double>() - x, petal[2].get<double>() - y);
}

/// The position of a petal in a trace line: the layer, and the index in it.
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

/// How many pixels differ between two pictures of the window, within a box around a point.
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

TEST_F(Window, BeginsInTheSameWayWithTheSameSeed) {
    const auto firstFrame = [this](const std::vector<std::string> &more) {
        std::filesystem::remove(trace());
        begin(more);
        end(SIGTERM);
        return Json::parse(lines().at(0))["layers"];
    };
    const Json seeded = firstFrame({"--seed", "5"});
    EXPECT_EQ(firstFrame({"--seed", "5"}), seeded);
    EXPECT_EQ(firstFrame({"--seed", "5", "--unprotected"}), seeded);
    EXPECT_NE(firstFrame({}), seeded);
}

/// A window that follows changes of its bundle.
class WatchingWindow : public Window {
  protected:
    /// Waits until the middle of the window has that colour; the lower edge stays aside.
    bool shows(std::uint32_t color) const {
        return eventually([&] {
            const auto image = picture();
            return image && (image->pixels()[image->width() * 100 + 200] & 0xFFFFFF) == color;
        });
    }

    bool hasWords() const {
        return eventually([&] {
            const auto image = picture();
            const std::size_t lowest = image ? image->width() * (image->height() - 40) : 0;
            return image && std::any_of(image->pixels() + lowest,
                                        image->pixels() + image->width() * image->height(),
                                        [](auto pixel) { return (pixel & 0xF0F0F0) == 0xF0F0F0; });
        });
    }

    void startWatching(const std::string &bundle, const std::string &title) {
        ProgramWindowTest::start({"run", bundle, "--watch", "--size", "400x600"});
        ASSERT_NO_FATAL_FAILURE(findWindow(title));
    }

    static std::string library(const std::string &wallpaper) {
        return contentsOf(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/lib" + wallpaper + ".so");
    }
};

TEST_F(WatchingWindow, ShowsAChangedLibraryOnceItIsWhole) {
    const std::string bundle = testBundle(_folder.path(), "OpaqueWallpaper");
    ASSERT_NO_FATAL_FAILURE(startWatching(bundle, "Made"));
    ASSERT_TRUE(shows(0x00FF00));
    const std::string other = library("RedWallpaper");
    {
        std::ofstream file(bundle + "/test.so", std::ios::binary);
        file << other.substr(0, other.size() / 2) << std::flush;
        usleep(100'000);
        file << other.substr(other.size() / 2);
    }
    EXPECT_TRUE(shows(0xFF0000));
    std::ofstream(bundle + "/next") << library("OpaqueWallpaper");
    std::filesystem::rename(bundle + "/next", bundle + "/test.so");
    EXPECT_TRUE(shows(0x00FF00));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(WatchingWindow, SaysWhatIsWrongWhileItIs) {
    const std::string bundle = testBundle(_folder.path(), "OpaqueWallpaper");
    const std::string description = contentsOf(bundle + "/description.plist");
    ASSERT_NO_FATAL_FAILURE(startWatching(bundle, "Made"));
    ASSERT_TRUE(shows(0x00FF00));
    std::ofstream(bundle + "/description.plist") << "<plist";
    EXPECT_TRUE(hasWords());
    EXPECT_TRUE(shows(0x00FF00)) << "the last picture stays";
    std::ofstream(bundle + "/description.plist") << description;
    EXPECT_TRUE(eventually([this] {
        const auto image = picture();
        return image && (image->pixels()[400 * 598 + 200] & 0xFFFFFF) == 0x00FF00;
    }));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(WatchingWindow, BeginsWithABundleThatIsNotRightYet) {
    const std::string bundle = testBundle(_folder.path(), "NoEntryPoint");
    ASSERT_NO_FATAL_FAILURE(startWatching(bundle, "Made"));
    EXPECT_TRUE(hasWords());
    std::ofstream(bundle + "/test.so") << library("RedWallpaper");
    EXPECT_TRUE(shows(0xFF0000));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(WatchingWindow, ShowsChangedPictures) {
    const std::string bundle = copyOfShippedBundle(_folder.path());
    ProgramWindowTest::start({"run", bundle, "--watch", "--size", "400x600", "--count", "1"});
    ASSERT_NO_FATAL_FAILURE(findWindow("Blossom Lake"));
    const auto red =
        PNGBuilder({4, 4, 8, PNGBuilder::RGB})
            .pixels([](auto, auto, std::uint32_t channel) { return channel == 0 ? 255 : 0; })
            .finish();
    for (const char *name : {"", "@2x", "@3x"}) {
        std::filesystem::remove(bundle + "/lumivera_background_" + name + ".png");
    }
    _folder.write("Copy.bundle/lumivera_background_.png", red);
    EXPECT_TRUE(shows(0xFF0000));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST(Watching, IsForBundlesThatAreThereAndNotWithoutProtection) {
    const TemporaryFolder folder;
    const ProgramRun missing({"run", "--watch", folder.pathOf("None.bundle")});
    EXPECT_EQ(missing.status(), 1);
    EXPECT_TRUE(missing.saysOneLine()) << missing.errors();
    EXPECT_EQ(ProgramRun({"run", "--watch", "--unprotected"}).status(), 2);
}

TEST_F(Window, EndsWithTheInterruptSignal) {
    begin();
    EXPECT_EQ(end(SIGINT), 0);
}

TEST_F(Window, EndsByItselfAfterTheSeconds) {
    start({"--seconds", "1"});
    EXPECT_EQ(waitForEnd(), 0);
}

/// One petal over a picture that stands still, so that what changes beside it is the petal.
TEST_F(Window, BlowsAPetalAwayFromAClickInTheTraceAndInThePicture) {
    begin({"--speed", "1", "--count", "1"});
    pause();
    const auto before = Json::parse(lines().back());
    const PetalPlace petal = petalNearTheMiddle(before);
    const double x = petal.in(before)[1].get<double>();
    const auto pictureBefore = picture();
    // The petal is pushed towards the middle of the window, where it has room.
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
        kill(process(), SIGSTOP);
        for (const char *place : {"50 50", "200 300", "350 550"}) {
            xdotool("mousemove --window " + window() + " " + place);
        }
        kill(process(), SIGTERM);
        kill(process(), SIGCONT);
        EXPECT_EQ(waitForEnd(), 0);
        std::filesystem::remove(trace());
    }
}

TEST_F(Window, UsesNoProcessorTimeWhileItIsHiddenAndGoesOnWhenItIsShown) {
    begin();
    ASSERT_TRUE(waitForFrames(10));
    xdotool("windowunmap --sync " + window());
    EXPECT_TRUE(comesToRest(process()));
    xdotool("windowmap " + window());
    EXPECT_TRUE(waitForFrames(10));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(Window, FillsANewWidthWithFreshPetals) {
    begin({"--count", "300"});
    resize(790, 400);
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
    focus();
    press("plus");
    EXPECT_TRUE(eventually([this] {
        const auto line = Json::parse(lines().back());
        return line["layers"][0].size() > 13;
    }));
    press("s");
    EXPECT_TRUE(eventually([this] {
        return !outputOf("ls " + _folder.path() + "/lumivera-*.png 2>/dev/null").empty();
    }));
    press("q");
    EXPECT_EQ(waitForEnd(), 0);
}

TEST_F(Window, RunsTheBundlesCodeInAnotherProcessThatEndsWithIt) {
    begin();
    const std::vector<pid_t> children = childrenOf(process());
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(end(SIGTERM), 0);
    EXPECT_TRUE(eventually([&] { return kill(children.front(), 0) != 0; }));
}

TEST_F(Window, RunsTheBundlesCodeItselfWhenToldTo) {
    begin({"--unprotected"});
    EXPECT_TRUE(childrenOf(process()).empty());
    focus();
    press("q");
    EXPECT_EQ(waitForEnd(), 0);
}

TEST_F(Window, NumbersTheFramesOnWhenItsSizeChanges) {
    begin();
    resize(600, 300);
    EXPECT_TRUE(waitForFrames(100));
    EXPECT_EQ(end(SIGTERM), 0);
    const auto all = lines();
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(Json::parse(all[i])["frame"], i);
    }
}

TEST_F(Window, PlaysTheSoundsOfTheBundle) {
    const std::string bundle = hostileBundle(_folder.path(), "sing-in-init");
    _folder.write("sing-in-init.bundle/splash.wav",
                  WaveFile::ofFloats(std::vector<float>(48'000, 0.5F)).bytes());
    const std::string heard = _folder.pathOf("sound.raw");
    ProgramWindowTest::start({"run", bundle},
                             {"SDL_AUDIODRIVER=disk", "SDL_DISKAUDIOFILE=" + heard});
    EXPECT_TRUE(eventually([&] {
        const std::string bytes = contentsOf(heard);
        return bytes.find_first_not_of('\0') != std::string::npos;
    }));
    EXPECT_EQ(end(SIGTERM), 0);
}

class HostileWindow : public ProgramWindowTest,
                      public ::testing::WithParamInterface<BrokenLibrary> {
  protected:
    std::string errors() const { return contentsOf(_folder.pathOf("errors")); }

    /// Once the window is there, does that until the program says something.
    void bringAbout(Cause cause) {
        ASSERT_NO_FATAL_FAILURE(findWindow(GetParam().deed));
        focus();
        unsigned times = 0;
        eventually(
            [&] {
                happen(cause, ++times);
                return !errors().empty();
            },
            GetParam().isSeenBy(kRun) ? 20 : 1);
    }

  private:
    void happen(Cause cause, unsigned times) const {
        if (cause == Cause::Tap || cause == Cause::Gesture) {
            click(50, 50);
        } else if (cause == Cause::Resize) {
            resize(300 + 10 * static_cast<int>(times), 400);
        } else {
            press(cause == Cause::SpeedChange ? "Up" : "space");
        }
    }
};

TEST_P(HostileWindow, EndsWithOneLine) {
    const BrokenLibrary &library = GetParam();
    const std::string bundle = hostileBundle(_folder.path(), library.deed);
    startWithErrors({"run", bundle, "--seconds", library.ends(kRun) ? "40" : "4"}, "errors");
    if (library.cause != Cause::Showing) {
        bringAbout(library.cause);
    }
    EXPECT_EQ(waitForEnd(), library.ends(kRun) ? 1 : 0);
    if (library.isSeenBy(kRun)) {
        EXPECT_THAT(errors(), ::testing::StartsWith("lumivera: " + bundle));
        EXPECT_TRUE(library.isToldIn(errors())) << errors();
        EXPECT_EQ(errors().find('\n') + 1, errors().size()) << "one line";
    } else {
        EXPECT_EQ(errors(), "") << library.blindness;
    }
}

INSTANTIATE_TEST_SUITE_P(Libraries, HostileWindow, ::testing::ValuesIn(brokenLibraries(false)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST_F(Window, RefusesWhatOthersCanWriteUnlessItIsTrusted) {
    const std::string bundle = testBundle(_folder.path(), "TinyWallpaper");
    chmod(bundle.c_str(), 0777);
    for (std::vector<std::string> arguments :
         {std::vector<std::string>{"run", bundle, "--seconds", "0.1"},
          {"run", bundle, "--seconds", "0.1", "--unprotected"},
          {"render", bundle, "--trace", "/dev/null", "--frames", "1"},
          {"render", bundle, "--trace", "/dev/null", "--frames", "1", "--unprotected"}}) {
        const ProgramRun refused = runToEnd(arguments);
        EXPECT_EQ(refused.status(), 1);
        EXPECT_TRUE(refused.saysOneLine());
        EXPECT_THAT(refused.errors(), HasSubstr(bundle + ": can be written by others"));
        arguments.emplace_back("--trust");
        const ProgramRun trusted = runToEnd(arguments);
        EXPECT_EQ(trusted.status(), 0);
        EXPECT_EQ(trusted.errors(), "");
    }
}

TEST_F(Window, FindsAMistakeInTheBundleBeforeAWindowOpens) {
    const std::string empty = _folder.makeFolder("Empty.bundle");
    const ProgramRun run(
        {"run", empty},
        {.environment = {"DISPLAY", "WAYLAND_DISPLAY"}, .largestFile = {}, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.errors(), HasSubstr(empty + ": has no description.plist"));
    const std::string bundle = testBundle(_folder.path(), "NoEntryPoint");
    const ProgramRun late = runToEnd({"run", bundle});
    EXPECT_EQ(late.status(), 1);
    EXPECT_TRUE(late.saysOneLine()) << late.errors();
    EXPECT_THAT(late.errors(), HasSubstr("has no function getDeskTopViewInstance"));
}

} // namespace
