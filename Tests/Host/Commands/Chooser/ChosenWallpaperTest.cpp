#include "Host/Commands/Chooser/BundleChoices.h"

#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlServer.h"
#include "Tests/Host/Desktop/Control/FakeTarget.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class ChosenWallpaperTest : public ::testing::Test {
  protected:
    std::string configuration() const { return _folder.pathOf("config/lumivera.toml"); }
    std::string controlFolder() const { return _folder.pathOf("control"); }

    std::optional<std::string> configured() const {
        return ConfigurationFile::read(configuration()).choice().bundle;
    }

    /// Makes the choice while a host can answer; returns the message or the error.
    std::string use(const std::string &bundle) {
        const ChosenWallpaper chosen(configuration(), controlFolder());
        std::string said;
        std::atomic<bool> isDone = false;
        std::thread asking([&] {
            try {
                said = chosen.use(bundle);
            } catch (const HostError &error) {
                said = std::string("failure: ") + error.what();
            }
            isDone = true;
        });
        EXPECT_TRUE(serveUntil([&] { return isDone.load(); }));
        asking.join();
        return said;
    }

    TemporaryFolder _folder;
};

TEST_F(ChosenWallpaperTest, IsConfiguredAndSaysThatNoHostRuns) {
    const std::string said = use("/w/Snow.bundle/");
    EXPECT_EQ(configured(), "/w/Snow.bundle");
    EXPECT_THAT(said, HasSubstr("/w/Snow.bundle"));
    EXPECT_THAT(said, HasSubstr("start it with `lumivera desktop`"));
}

TEST_F(ChosenWallpaperTest, IsGivenToTheHostThatRuns) {
    DescriptorWaiter waiter;
    FakeTarget target;
    const ControlServer server(waiter, target, "headless", controlFolder());
    EXPECT_EQ(use("/w/Snow.bundle"), "/w/Snow.bundle is the wallpaper now");
    EXPECT_THAT(target.heard, ElementsAre("choose  wallpaper=/w/Snow.bundle"));
    EXPECT_EQ(configured(), "/w/Snow.bundle");
}

TEST_F(ChosenWallpaperTest, IsTheFullPathOfARelativeOne) {
    use("Snow.bundle");
    EXPECT_EQ(configured(), std::filesystem::current_path().string() + "/Snow.bundle");
}

TEST_F(ChosenWallpaperTest, KeepsTheRestOfTheConfiguration) {
    std::filesystem::create_directory(_folder.pathOf("config"));
    std::ofstream(configuration()) << "# mine\npetals = 12\n";
    use("/w/Snow.bundle");
    EXPECT_EQ(ConfigurationFile::read(configuration()).choice().petals, 12u);
    EXPECT_THAT(contentsOf(configuration()), HasSubstr("# mine"));
}

TEST_F(ChosenWallpaperTest, IsGivenToNobodyWhenItCannotBeConfigured) {
    DescriptorWaiter waiter;
    FakeTarget target;
    const ControlServer server(waiter, target, "headless", controlFolder());
    std::ofstream(_folder.pathOf("config")) << "in the way";
    EXPECT_THAT(use("/w/Snow.bundle"), HasSubstr("failure: "));
    EXPECT_TRUE(target.heard.empty());
}

TEST_F(ChosenWallpaperTest, MustHaveANameThatCanBeWritten) {
    EXPECT_THAT(use("/w/\xff.bundle"), HasSubstr("no UTF-8"));
    EXPECT_FALSE(std::filesystem::exists(configuration()));
}

} // namespace
