#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Desktop/Isolation/LandlockLayers.h"
#include "Tests/Host/Desktop/Policy/FakeSystem.h"
#include "Tests/Host/Programs/VirtualScreen.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using nlohmann::json;

/// The real host on an output without a screen.
class DesktopEndToEndTest : public DesktopProgramTest {
  protected:
    void configure(const std::string &text) {
        const std::string place = folder() + "/config/lumivera";
        std::filesystem::create_directories(place);
        std::ofstream(place + "/next") << text;
        std::filesystem::rename(place + "/next", place + "/lumivera.toml");
    }

    bool hasPetals(int count) {
        return statusBecomes([count](json output) { return output["petals"] == count; });
    }

    bool shows(const std::string &bundle) {
        return statusBecomes([&](json output) {
            return output["bundle"] == shippedBundle(bundle) && output["frames"] > 0;
        });
    }
};

TEST_F(DesktopEndToEndTest, ShowsTheShippedWallpaperWithoutAnyWord) {
    startHeadless({});
    EXPECT_TRUE(shows("Lumivera.bundle"));
    const auto shown = picture();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->width(), 1920U);
    EXPECT_EQ(shown->height(), 1080U);
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(log(), "");
}

TEST_F(DesktopEndToEndTest, TellsOnceOfAProtectionThatTheKernelRefuses) {
    std::string lines;
    for (const Lumivera::Sandbox::Protection &protection : Lumivera::Sandbox::tryOut()) {
        if (protection.holds && protection.name.find("Landlock") != std::string::npos) {
            lines += "lumivera: protection from wallpapers: " + protection.name +
                     ": does not hold, although the kernel has it\n";
        }
    }
    if (lines.empty()) {
        GTEST_SKIP() << "needs a kernel with Landlock";
    }
    const auto run = [this] {
        useUpLandlock();
        startHeadless({});
        const bool isShown = shows("Lumivera.bundle") &&
                             ctl({"wallpaper", "Maple"}).status() == 0 && shows("Maple.bundle");
        quit();
        std::fputs(log().c_str(), stderr);
        _exit(isShown ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), testing::StrEq(lines));
}

TEST_F(DesktopEndToEndTest, TakesItsWallpaperFromTheCommandLine) {
    startHeadless({"Maple", "--count", "7"});
    EXPECT_TRUE(shows("Maple.bundle"));
    EXPECT_TRUE(hasPetals(7));
}

TEST_F(DesktopEndToEndTest, TakesItsSwitchesFromTheCommandLineFirst) {
    const std::string bundle = testBundle(folder(), "BeaconWallpaper");
    std::filesystem::permissions(bundle, std::filesystem::perms::all);
    configure("trust = true\n");
    startHeadless({"--no-trust", bundle});
    EXPECT_TRUE(shows("Lumivera.bundle"));
    EXPECT_THAT(log(), HasSubstr("can be written by others"));
    EXPECT_EQ(quit(), 0);
    startHeadless({bundle});
    EXPECT_TRUE(statusBecomes([&](json output) { return output["bundle"] == bundle; }));
}

TEST_F(DesktopEndToEndTest, FollowsItsConfiguration) {
    configure("petals = 11\n");
    startHeadless({});
    EXPECT_TRUE(hasPetals(11));
    configure("petals = 12\n[output.HEADLESS-1]\nwallpaper = \"Maple\"\n");
    EXPECT_TRUE(shows("Maple.bundle"));
    EXPECT_TRUE(hasPetals(12));
    configure("petals = \"many\"\n");
    EXPECT_TRUE(eventually([this] { return !log().empty(); }));
    EXPECT_THAT(log(), HasSubstr("lumivera.toml:1: \"petals\""));
    EXPECT_EQ(status()["petals"], 12) << "the broken file changes nothing";
}

TEST_F(DesktopEndToEndTest, DoesWhatItIsToldWhileItRuns) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    EXPECT_EQ(ctl({"set", "petals", "21"}).status(), 0);
    EXPECT_TRUE(hasPetals(21));
    EXPECT_EQ(ctl({"wallpaper", "Maple"}).status(), 0);
    EXPECT_TRUE(shows("Maple.bundle"));
    EXPECT_TRUE(hasPetals(21)) << "it stays as it was set";
    for (const char *command : {"tap 100 100", "offset 30", "set tint red", "set speed 3",
                                "set scale 1.5", "set scale-level 2", "set petals default"}) {
        std::istringstream words(command);
        const ProgramRun run =
            ctl({std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()});
        EXPECT_EQ(run.status(), 0) << command << ": " << run.errors();
    }
    EXPECT_TRUE(hasPetals(70)) << "the bundle's own number";
    EXPECT_EQ(ctl({"pause", "--output", "NOWHERE"}).status(), 1);
    EXPECT_EQ(log(), "");
}

TEST_F(DesktopEndToEndTest, ShowsWhatWallpapersSay) {
    const std::string bundle = testBundle(folder(), "TalkingWallpaper");
    startHeadless({bundle});
    ASSERT_TRUE(statusBecomes([&](json output) { return output["bundle"] == bundle; }));
    ASSERT_TRUE(
        eventually([this] { return ctl({"log"}).output().find("an error") != std::string::npos; }));
    const std::string shown = ctl({"log"}).output();
    EXPECT_THAT(shown, HasSubstr("  HEADLESS-1: Made: has loaded\n"));
    EXPECT_THAT(shown, HasSubstr("  HEADLESS-1: Made: a printed line\n"));
    EXPECT_THAT(shown, HasSubstr("  HEADLESS-1: Made: an error \\x1b[2J of its own\n"));
    const json all = json::parse(ctl({"log", "--json"}).output());
    const auto isPrinted = [](const json &line) { return line["text"] == "a printed line"; };
    const auto printed = std::find_if(all["lines"].begin(), all["lines"].end(), isPrinted);
    ASSERT_NE(printed, all["lines"].end());
    EXPECT_EQ((*printed)["source"], "print");
    EXPECT_EQ((*printed)["output"], "HEADLESS-1");
    EXPECT_EQ((*printed)["bundle"], bundle);
    EXPECT_EQ(json::parse(ctl({"log", "--json", "--output", "X"}).output())["lines"].size(), 0U);
    EXPECT_EQ(log(), "") << "it is for those who ask";
}

TEST_F(DesktopEndToEndTest, GoesOnWithNewLinesUntilTheDesktopEnds) {
    startHeadless({testBundle(folder(), "TalkingWallpaper")});
    ASSERT_TRUE(
        eventually([this] { return ctl({"log"}).output().find("an error") != std::string::npos; }));
    ProgramRun::Options options;
    options.environment = surroundings();
    const std::string path = folder() + "/followed";
    const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const pid_t follower =
        ProgramRun::begin({"ctl", "log", "--follow", "--json"}, options, output, output);
    close(output);
    EXPECT_TRUE(eventually([&] { return contentsOf(path).find("an error") != std::string::npos; }));
    EXPECT_EQ(ctl({"tap", "40", "50"}).status(), 0);
    EXPECT_TRUE(
        eventually([&] { return contentsOf(path).find("tapped at 40") != std::string::npos; }));
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(ProgramRun::waitFor(follower), 0);
    std::istringstream lines(contentsOf(path));
    std::uint64_t last = 0;
    for (std::string line; std::getline(lines, line);) {
        const auto number = json::parse(line)["number"].get<std::uint64_t>();
        EXPECT_GT(number, last) << "no line comes twice";
        last = number;
    }
}

/// Longer than a watchdog would wait.
TEST_F(DesktopEndToEndTest, LetsADebuggerStopAWallpaper) {
    startHeadless({"--no-watchdog"});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    const std::string words =
        "HEADLESS-1: " + shippedBundle("Lumivera.bundle") + " runs in process ";
    const std::size_t at = log().find(words);
    ASSERT_NE(at, std::string::npos) << log();
    const auto view = static_cast<pid_t>(std::stol(log().substr(at + words.size())));
    EXPECT_THAT(children(), Contains(view));
    const std::string before = log();
    kill(view, SIGSTOP);
    EXPECT_FALSE(eventually([&] { return log() != before; }, 8));
    const int frames = status()["frames"];
    kill(view, SIGCONT);
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > frames; }));
    EXPECT_THAT(children(), Contains(view));
    EXPECT_EQ(log(), before);
}

TEST_F(DesktopEndToEndTest, UsesNoProcessorWhileItIsPaused) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    EXPECT_EQ(ctl({"pause"}).status(), 0);
    EXPECT_TRUE(usesNoProcessor());
    EXPECT_EQ(status()["pauseReasons"], json::array({"user"}));
    EXPECT_EQ(ctl({"resume"}).status(), 0);
    const int before = status()["frames"];
    EXPECT_TRUE(statusBecomes([&](json output) { return output["frames"] > before; }));
}

TEST_F(DesktopEndToEndTest, RestsWithTheSession) {
    Lumivera::FakeSystem system;
    Lumivera::FakeServices services;
    start({"--display", "headless", "--on-battery", "pause"},
          {std::string("DBUS_SYSTEM_BUS_ADDRESS=") + std::getenv("DBUS_SYSTEM_BUS_ADDRESS")});
    const auto isPausedBy = [&](const json &reasons) {
        return statusBecomes([&](json output) {
            services.serve();
            return output["frames"] > 0 && output["pauseReasons"] == reasons;
        });
    };
    EXPECT_TRUE(isPausedBy(json::array()));
    services.setLocked(true);
    EXPECT_TRUE(isPausedBy({"locked"}));
    services.setOnBattery(true);
    services.setLocked(false);
    EXPECT_TRUE(isPausedBy({"battery"}));
    services.setOnBattery(false);
    services.prepareForSleep(true);
    EXPECT_TRUE(isPausedBy({"asleep"}));
    services.prepareForSleep(false);
    EXPECT_TRUE(isPausedBy(json::array()));
    services.setIdle(true);
    ASSERT_TRUE(isPausedBy({"idle"}));
    EXPECT_TRUE(usesNoProcessor());
}

TEST_F(DesktopEndToEndTest, LeavesNothingBehind) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    const auto views = children();
    ASSERT_EQ(views.size(), 1U);
    EXPECT_EQ(end(SIGTERM), 0);
    EXPECT_NE(kill(views[0], 0), 0);
    EXPECT_FALSE(std::filesystem::exists(folder() + "/lumivera/control"));
}

TEST_F(DesktopEndToEndTest, TakesItsViewsAlongWhenItIsKilled) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    const auto views = children();
    ASSERT_EQ(views.size(), 1U);
    end(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        const std::string state = contentsOf("/proc/" + std::to_string(views[0]) + "/stat");
        return state.empty() || state.find(") Z ") != std::string::npos;
    }));
    startHeadless({});
    EXPECT_TRUE(shows("Lumivera.bundle")) << "the old socket is no hindrance";
}

TEST_F(DesktopEndToEndTest, ReplacesAViewThatWasKilled) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    const auto views = children();
    ASSERT_EQ(views.size(), 1U);
    kill(views[0], SIGKILL);
    EXPECT_TRUE(eventually([&] { return children().size() == 1 && children() != views; }));
    EXPECT_THAT(log(), HasSubstr("it is begun anew"));
}

TEST_F(DesktopEndToEndTest, RunsOnceOnly) {
    startHeadless({});
    ASSERT_TRUE(shows("Lumivera.bundle"));
    ProgramRun::Options options;
    options.environment = {"XDG_RUNTIME_DIR=" + folder(), "XDG_CONFIG_HOME=" + folder()};
    const ProgramRun second({"desktop", "--display", "headless"}, options);
    EXPECT_EQ(second.status(), 1);
    EXPECT_TRUE(second.saysOneLine());
    EXPECT_THAT(second.errors(), HasSubstr("running"));
}

TEST_F(DesktopEndToEndTest, SaysThatThereIsNoDesktop) {
    ProgramRun::Options options;
    options.environment = {"XDG_RUNTIME_DIR=" + folder(), "DISPLAY", "WAYLAND_DISPLAY"};
    const ProgramRun run({"desktop"}, options);
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine());
    EXPECT_THAT(run.errors(), HasSubstr("there is no desktop"));
}

TEST_F(DesktopEndToEndTest, RefusesWhatMakesNoSense) {
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"--output", "no-bundle"},
          {"--count", "many"},
          {"--on-battery", "walk"},
          {"--display", "paper"},
          {"--tint", "colourful"},
          {"--density", "0"},
          {"--trust", "--no-trust"}}) {
        std::vector<std::string> all{"desktop", "--display", "headless"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ProgramRun::Options options;
        options.environment = {"XDG_RUNTIME_DIR=" + folder()};
        const ProgramRun run(all, options);
        EXPECT_EQ(run.status(), 2) << arguments[0];
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
    }
}

TEST_F(DesktopEndToEndTest, ShowsTheShippedWallpaperForOneThatIsMissing) {
    startHeadless({"/no/such.bundle"});
    EXPECT_TRUE(shows("Lumivera.bundle"));
    EXPECT_THAT(log(), HasSubstr("/no/such.bundle"));
}

} // namespace
