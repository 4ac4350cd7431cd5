#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Desktop/Isolation/LandlockLayers.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using nlohmann::json;
using ::testing::HasSubstr;

namespace {

class DoctorEndToEndTest : public ::testing::Test {
  protected:
    ProgramRun doctor(const std::vector<std::string> &environment = {},
                      const std::vector<std::string> &options = {}) {
        ProgramRun::Options run;
        run.environment = {"DISPLAY",
                           "WAYLAND_DISPLAY",
                           "XDG_RUNTIME_DIR=" + _folder.path(),
                           "XDG_CONFIG_HOME=" + _folder.path(),
                           "XDG_DATA_HOME=" + _folder.path(),
                           "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + _folder.path() + "/no-bus"};
        run.environment.insert(run.environment.end(), environment.begin(), environment.end());
        std::vector<std::string> arguments{"doctor"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return ProgramRun(arguments, run);
    }

    TemporaryFolder _folder;
};

TEST_F(DoctorEndToEndTest, SaysThatThereIsNoDesktop) {
    const ProgramRun run = doctor();
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.output(), HasSubstr("!!  desktop: display: there is no desktop"));
    EXPECT_THAT(run.output(), HasSubstr("ok  a trial: the shipped wallpaper has drawn a picture"));
    EXPECT_THAT(run.output(), HasSubstr("Lumivera.bundle"));
    EXPECT_TRUE(run.saysOneLine());
}

TEST_F(DoctorEndToEndTest, SaysWhatTheScreenIsLike) {
    if (!isInstalled("Xvfb")) {
        GTEST_SKIP() << "needs Xvfb";
    }
    const VirtualScreen screen("640x480x24");
    const ProgramRun run = doctor({"DISPLAY=" + screen.name()}, {"--json"});
    EXPECT_EQ(run.status(), 0) << run.errors();
    const json report = json::parse(run.output());
    EXPECT_EQ(report["usable"], true);
    ASSERT_EQ(report["outputs"].size(), 1U);
    EXPECT_EQ(report["outputs"][0]["width"], 640);
    EXPECT_EQ(report["outputs"][0]["height"], 480);
}

TEST_F(DoctorEndToEndTest, SaysWhatTheKernelRefuses) {
    const Lumivera::Sandbox::Protection files = Lumivera::Sandbox::tryOut().at(2);
    if (!files.holds) {
        GTEST_SKIP() << "needs a kernel with Landlock";
    }
    const auto run = [this] {
        useUpLandlock();
        std::fputs(doctor().output().c_str(), stderr);
        _exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0),
                HasSubstr("!!  " + files.name + ": does not hold, although the kernel has it"));
}

TEST_F(DoctorEndToEndTest, SaysWhatIsWrongWithAWallpaper) {
    const std::string folder = _folder.path() + "/lumivera/wallpapers";
    std::filesystem::create_directories(folder + "/Empty.bundle");
    const ProgramRun run = doctor();
    EXPECT_THAT(run.output(), HasSubstr("Empty.bundle has no description.plist"));
}

TEST_F(DoctorEndToEndTest, SaysWhoseCodeIsNotRun) {
    const std::string folder = _folder.path() + "/lumivera/wallpapers";
    std::filesystem::create_directories(folder);
    chmod(testBundle(folder, "TinyWallpaper").c_str(), 0777);
    const ProgramRun run = doctor();
    EXPECT_THAT(run.output(), HasSubstr("can be written by others"));
    EXPECT_THAT(run.output(), HasSubstr("chmod go-w"));
}

TEST_F(DoctorEndToEndTest, SaysThatTheConfigurationIsBroken) {
    std::filesystem::create_directories(_folder.path() + "/lumivera/lumivera.toml");
    const ProgramRun run = doctor();
    EXPECT_THAT(run.output(), HasSubstr("!!  configuration: "));
}

} // namespace
