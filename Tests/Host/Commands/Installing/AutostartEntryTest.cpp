#include "Host/Commands/Installing/AutostartEntry.h"
#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class AutostartTest : public ::testing::Test {
  protected:
    ProgramRun autostart(const std::string &what) const {
        ProgramRun::Options options;
        options.environment = {"XDG_CONFIG_HOME=" + _folder.path()};
        return ProgramRun({"autostart", what}, options);
    }

    TemporaryFolder _folder;
    const std::string _path = _folder.pathOf("autostart/lumivera.desktop");
    const std::string _program = fs::canonical(LUMIVERA_BUILD_DIR "/bin/lumivera").string();
};

TEST_F(AutostartTest, WritesAnEntryThatStartsTheProgram) {
    const ProgramRun run = autostart("on");
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_EQ(run.output(), "on; wrote " + _path + "\n");
    EXPECT_THAT(contentsOf(_path), HasSubstr("[Desktop Entry]\nType=Application\n"));
    EXPECT_THAT(contentsOf(_path), HasSubstr("\nExec=\"" + _program + "\" desktop\n"));
}

TEST_F(AutostartTest, SaysWhenItIsOnAlready) {
    autostart("on");
    EXPECT_EQ(autostart("on").output(), "on already, by " + _path + "\n");
}

TEST_F(AutostartTest, RemovesTheEntry) {
    autostart("on");
    EXPECT_EQ(autostart("off").output(), "off; removed " + _path + "\n");
    EXPECT_FALSE(fs::exists(_path));
    EXPECT_EQ(autostart("off").output(), "off already\n");
}

TEST_F(AutostartTest, TellsHowItIs) {
    EXPECT_EQ(autostart("status").output(), "off\n");
    autostart("on");
    EXPECT_EQ(autostart("status").output(), "on, by " + _path + "\n");
}

TEST_F(AutostartTest, TellsThatTheEntryStartsAnotherProgramAndMendsIt) {
    AutostartEntry(_path).turnOn("/elsewhere/lumivera");
    EXPECT_EQ(autostart("status").output(),
              "on, by " + _path + ", but with another program: \"/elsewhere/lumivera\" desktop\n");
    EXPECT_EQ(autostart("on").output(), "on; wrote " + _path + "\n");
    EXPECT_EQ(autostart("status").output(), "on, by " + _path + "\n");
}

TEST_F(AutostartTest, TakesAHiddenEntryForNone) {
    AutostartEntry(_path).turnOn("/x");
    _folder.write("autostart/lumivera.desktop", contentsOf(_path) + "Hidden=true\n");
    EXPECT_EQ(AutostartEntry(_path).command(), std::nullopt);
}

TEST_F(AutostartTest, NamesAFileThatCannotBeWritten) {
    _folder.write("autostart", "in the way");
    const ProgramRun run = autostart("on");
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine());
    EXPECT_THAT(run.errors(), HasSubstr(_path));
}

TEST_F(AutostartTest, RemovesNoFolder) {
    fs::create_directories(_path);
    EXPECT_EQ(autostart("off").status(), 1);
    EXPECT_TRUE(fs::exists(_path));
}

TEST(AutostartEntry, WritesAnyPathSoThatDesktopsReadIt) {
    EXPECT_EQ(AutostartEntry::commandFor("/a b/100%/\"$`\\x"),
              R"("/a b/100%%/\\"\\$\\`\\\\x" desktop)");
}

} // namespace
