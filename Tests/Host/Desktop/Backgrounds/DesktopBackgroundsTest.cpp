#include "Host/Desktop/Backgrounds/DesktopBackgrounds.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Tests/Host/Desktop/Backgrounds/FakeTools.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

using namespace Lumivera;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr DeviceRect kFirst{0, 0, 4, 3};
constexpr DeviceRect kSecond{4, 0, 6, 2};

/// One run of the host on a fake desktop.
struct HostRun {
    HostRun(FakeDesktop &desktop, const std::string &folder, bool isWhole = true)
        : tools(new FakeTools([&desktop](const ToolCall &call) { return desktop.answer(call); })),
          backgrounds(std::unique_ptr<ToolRunner>(tools), programsFor(desktop, isWhole), folder,
                      [this](const std::string &line) { log.push_back(line); }) {}

    static std::vector<std::unique_ptr<DesktopProgram>> programsFor(FakeDesktop &desktop,
                                                                    bool isWhole) {
        std::vector<std::unique_ptr<DesktopProgram>> programs;
        if (isWhole) {
            programs.push_back(std::make_unique<FakeProgram>(desktop));
        }
        return programs;
    }

    void show(std::uint32_t color, const std::string &output = "A", DeviceRect area = kFirst) {
        SharedBuffers picture(static_cast<unsigned>(area.width()),
                              static_cast<unsigned>(area.height()), 1);
        std::fill_n(picture.pixels(0), area.width() * area.height(), color);
        backgrounds.show("Fake", window, output, area, picture);
    }

    std::uint32_t window = 1;
    std::vector<std::string> log;
    FakeTools *tools;
    DesktopBackgrounds backgrounds;
};

class DesktopBackgroundsTest : public SimulatedTimeTest {
  protected:
    /// Shows a picture and lets the tools work.
    void showAll(HostRun &run, std::uint32_t color) {
        run.show(color);
        serve(run);
    }

    void serve(HostRun &run) {
        runForSeconds(1);
        run.tools->serve();
    }

    std::string picture() const { return _desktop.settings.at("picture").value_or(""); }
    std::string keptFile() const { return _folder + "/fake.kept"; }

    std::size_t pictureFiles() const {
        std::size_t count = 0;
        for (const auto &entry : fs::directory_iterator(_folder)) {
            count += entry.path().extension() == ".png";
        }
        return count;
    }

    const TemporaryFolder _temporary;
    const std::string _folder = _temporary.pathOf("state/backgrounds");
    FakeDesktop _desktop;
    const DesktopSettings _own = _desktop.settings;
};

TEST_F(DesktopBackgroundsTest, ShowAPictureAndGiveTheUsersOwnBack) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_EQ(_desktop.settings["style"], "stretch");
    const auto image = PictureFile::read(picture());
    EXPECT_EQ(image->bitmap()->width(), 4U);
    EXPECT_EQ(image->bitmap()->height(), 3U);
    EXPECT_EQ(image->bitmap()->pixels()[11], 0xFF102030);

    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
    EXPECT_FALSE(fs::exists(keptFile()));
    EXPECT_EQ(pictureFiles(), 0U);
    EXPECT_THAT(run.log, IsEmpty());
}

TEST_F(DesktopBackgroundsTest, GiveBackWhatWasNotSetAsNotSet) {
    _desktop.settings.erase("style");
    const DesktopSettings own = _desktop.settings;
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_EQ(_desktop.settings["style"], "stretch");
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, own);
}

TEST_F(DesktopBackgroundsTest, KeepTheUsersOwnBeforeAnythingIsChanged) {
    std::string kept;
    _desktop.beforeSet = [&] { kept = kept.empty() ? contentsOf(keptFile()) : kept; };
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_THAT(kept, HasSubstr("picture\t=/own.png\t-\t=" + _folder));
    EXPECT_THAT(kept, HasSubstr("style\t=zoom\t-\t=stretch"));
}

TEST_F(DesktopBackgroundsTest, ChangeNothingWhereTheUsersOwnCannotBeKept) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    fs::create_directories(keptFile() + "/folder");
    serve(run);
    EXPECT_EQ(_desktop.settings, _own);
    ASSERT_EQ(run.log.size(), 1U);
    EXPECT_THAT(run.log[0], HasSubstr(keptFile()));
}

TEST_F(DesktopBackgroundsTest, NeverRunAToolWithinTheCall) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    EXPECT_THAT(run.tools->calls, IsEmpty());
}

TEST_F(DesktopBackgroundsTest, GiveAFileAnotherNameWhenItsPixelsChange) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    const std::string first = picture();
    showAll(run, 0xFF102031);
    const std::string second = picture();
    EXPECT_NE(second, first);
    EXPECT_FALSE(fs::exists(first));
    showAll(run, 0xFF102030);
    EXPECT_EQ(picture(), first);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, SetOnlyWhatDiffers) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    run.tools->calls.clear();
    showAll(run, 0xFF102030);
    EXPECT_THAT(run.tools->calls, ElementsAre(ToolCall{{"tool", "read"}}));
}

TEST_F(DesktopBackgroundsTest, ShowTheOutputsTogether) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    run.show(0xFF405060, "B/2", kSecond);
    serve(run);
    EXPECT_EQ(PictureFile::read(picture())->bitmap()->width(), 4U);
    EXPECT_EQ(PictureFile::read(*_desktop.settings["other/picture"])->bitmap()->width(), 2U);
    EXPECT_EQ(std::count_if(run.tools->calls.begin(), run.tools->calls.end(),
                            [](const ToolCall &call) { return call.arguments[1] == "read"; }),
              2);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, ShowTheLatestPictureWhenSeveralComeWhileATaskRuns) {
    HostRun run(_desktop, _folder);
    run.show(0xFF000001);
    runForSeconds(1);
    run.tools->serve(1);
    for (const std::uint32_t color : {0xFF000002, 0xFF000003}) {
        run.show(color);
        runForSeconds(1);
    }
    run.tools->serve();
    EXPECT_EQ(PictureFile::read(picture())->bitmap()->pixels()[0], 0xFF000003);
    EXPECT_EQ(pictureFiles(), 1U);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, GiveBackWhileATaskRuns) {
    for (const std::size_t answered : {0U, 1U, 2U, 3U, 4U}) {
        HostRun run(_desktop, _folder);
        run.show(0xFF000001);
        runForSeconds(1);
        run.tools->serve(answered);
        EXPECT_TRUE(run.backgrounds.giveBack()) << answered;
        EXPECT_EQ(_desktop.settings, _own) << answered;
        EXPECT_FALSE(fs::exists(keptFile())) << answered;
    }
}

TEST_F(DesktopBackgroundsTest, LeaveAWallpaperThatTheUserHasChosenMeanwhile) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    _desktop.settings["picture"] = "/new.png";
    showAll(run, 0xFF102031);
    EXPECT_EQ(picture(), "/new.png");
    EXPECT_EQ(_desktop.settings["style"], "zoom");
    EXPECT_THAT(run.log, ElementsAre("the desktop's wallpaper was changed in Fake's settings, and "
                                     "stays as it is now"));
    showAll(run, 0xFF102032);
    EXPECT_EQ(picture(), "/new.png");
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(picture(), "/new.png");
    EXPECT_EQ(run.log.size(), 1U);
}

TEST_F(DesktopBackgroundsTest, LeaveTheUsersOldWallpaperWhenTheUserHasChosenItAgain) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    _desktop.settings["picture"] = "/own.png";
    showAll(run, 0xFF102031);
    EXPECT_EQ(picture(), "/own.png");
}

TEST_F(DesktopBackgroundsTest, ComeBackToADesktopThatHasNotSavedThem) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    _desktop.settings = _own;
    run.window = 2;
    showAll(run, 0xFF102030);
    EXPECT_NE(picture(), "/own.png");

    _desktop.settings = _own;
    run.backgrounds.remove("A");
    showAll(run, 0xFF102030);
    EXPECT_NE(picture(), "/own.png");
    EXPECT_THAT(run.log, IsEmpty());
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, LeaveAWallpaperThatTheUserHasChosenOnADesktopThatComesBack) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    _desktop.settings["picture"] = "/own.png";
    showAll(run, 0xFF102031);
    run.window = 2;
    showAll(run, 0xFF102031);
    EXPECT_EQ(picture(), "/own.png");
}

TEST_F(DesktopBackgroundsTest, LeaveOnlyTheGroupThatTheUserHasChanged) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    run.show(0xFF405060, "B", kSecond);
    serve(run);
    _desktop.settings["other/picture"] = "/new.png";
    run.show(0xFF102031);
    run.show(0xFF405061, "B", kSecond);
    serve(run);
    EXPECT_EQ(_desktop.settings["other/picture"], "/new.png");
    EXPECT_EQ(PictureFile::read(picture())->bitmap()->pixels()[0], 0xFF102031);
}

TEST_F(DesktopBackgroundsTest, LeaveAWallpaperThatTheUserHasChosenJustBeforeTheEnd) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    _desktop.settings["picture"] = "/new.png";
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(picture(), "/new.png");
    EXPECT_EQ(_desktop.settings["style"], "zoom");
    EXPECT_FALSE(fs::exists(keptFile()));
}

TEST_F(DesktopBackgroundsTest, GiveBackWhatAKilledRunHasLeft) {
    for (const std::size_t answered : {2U, 3U, 4U}) {
        {
            HostRun killed(_desktop, _folder);
            killed.show(0xFF102030);
            runForSeconds(1);
            killed.tools->serve(answered);
        }
        EXPECT_NE(_desktop.settings, _own);
        HostRun run(_desktop, _folder);
        run.backgrounds.giveBackLeftOver();
        run.tools->serve();
        EXPECT_NE(_desktop.settings, _own) << "the host may show pictures at once";
        runForSeconds(DesktopBackgrounds::kLeftOverDelay + 1);
        run.tools->serve();
        EXPECT_EQ(_desktop.settings, _own) << answered;
        EXPECT_FALSE(fs::exists(keptFile()));
        EXPECT_EQ(pictureFiles(), 0U);
    }
}

TEST_F(DesktopBackgroundsTest, GiveBackTheOldestAfterAKilledRun) {
    {
        HostRun killed(_desktop, _folder);
        showAll(killed, 0xFF102030);
    }
    HostRun run(_desktop, _folder);
    run.backgrounds.giveBackLeftOver();
    showAll(run, 0xFF102031);
    runForSeconds(DesktopBackgrounds::kLeftOverDelay + 1);
    run.tools->serve();
    EXPECT_EQ(PictureFile::read(picture())->bitmap()->pixels()[0], 0xFF102031);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, GiveBackWhatAKilledRunHasLeftWhenTheyEndEarly) {
    {
        HostRun killed(_desktop, _folder);
        showAll(killed, 0xFF102030);
    }
    HostRun run(_desktop, _folder);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, GiveBackTheDefaultWhenTheFileWasLost) {
    {
        HostRun killed(_desktop, _folder);
        showAll(killed, 0xFF102030);
    }
    fs::remove(keptFile());
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_FALSE(_desktop.settings.contains("picture"));
}

TEST_F(DesktopBackgroundsTest, SayThatAToolIsMissing) {
    _desktop.isReadable = false;
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    showAll(run, 0xFF102031);
    EXPECT_THAT(run.log, ElementsAre("Fake's settings: tool: is not installed"));
    EXPECT_TRUE(run.backgrounds.giveBack());
}

TEST_F(DesktopBackgroundsTest, SayThatAToolHasFailed) {
    _desktop.takesChanges = false;
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_THAT(run.log,
                ElementsAre("Fake's settings: did not take the background; tool: no room"));
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_FALSE(fs::exists(keptFile()));
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, KeepWhatCannotBeGivenBackForTheNextRun) {
    {
        HostRun run(_desktop, _folder);
        showAll(run, 0xFF102030);
        _desktop.takesChanges = false;
        EXPECT_FALSE(run.backgrounds.giveBack());
        ASSERT_EQ(run.log.size(), 1U);
        EXPECT_EQ(run.log[0], "Fake's settings: did not take your own wallpaper back; tool: no "
                              "room; your own is kept in " +
                                  keptFile() +
                                  ", and is given back when lumivera desktop starts again");
        EXPECT_EQ(pictureFiles(), 1U);
    }
    _desktop.takesChanges = true;
    HostRun next(_desktop, _folder);
    EXPECT_TRUE(next.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, KeepEverythingForTheNextRunWhenAToolHangs) {
    {
        HostRun run(_desktop, _folder);
        showAll(run, 0xFF102030);
        run.tools->isHanging = true;
        EXPECT_FALSE(run.backgrounds.giveBack());
        ASSERT_EQ(run.log.size(), 1U);
        EXPECT_THAT(run.log[0], HasSubstr("could not be given back in time"));
    }
    HostRun next(_desktop, _folder);
    EXPECT_TRUE(next.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, EndAtOnceWhenAToolHangsBeforeAnythingWasChanged) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    runForSeconds(1);
    run.tools->isHanging = true;
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
    EXPECT_EQ(pictureFiles(), 0U);
    EXPECT_THAT(run.log, IsEmpty());
}

TEST_F(DesktopBackgroundsTest, LeaveTheDesktopToTheFirstOfTwoHosts) {
    HostRun first(_desktop, _folder);
    showAll(first, 0xFF102030);
    const std::string shown = picture();
    HostRun second(_desktop, _folder);
    second.backgrounds.giveBackLeftOver();
    showAll(second, 0xFF102031);
    runForSeconds(DesktopBackgrounds::kLeftOverDelay + 1);
    second.tools->serve();
    EXPECT_EQ(picture(), shown);
    EXPECT_THAT(second.tools->calls, IsEmpty());
    ASSERT_EQ(second.log.size(), 1U);
    EXPECT_THAT(second.log[0], HasSubstr("is in use by another lumivera desktop"));
    EXPECT_TRUE(second.backgrounds.giveBack());
    EXPECT_EQ(picture(), shown);
    EXPECT_TRUE(first.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, SetABrokenFileAsideAndGoOn) {
    fs::create_directories(_folder);
    fs::permissions(_folder, fs::perms::owner_all);
    _temporary.write("state/backgrounds/fake.kept", "Lumivera: settings to give back, form 1\nx");
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    ASSERT_EQ(run.log.size(), 1U);
    EXPECT_THAT(run.log[0], HasSubstr("is damaged"));
    EXPECT_TRUE(fs::exists(keptFile() + ".broken"));
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, ChangeNothingWhenOthersMayWriteTheFile) {
    {
        HostRun killed(_desktop, _folder);
        showAll(killed, 0xFF102030);
    }
    const DesktopSettings left = _desktop.settings;
    chmod(keptFile().c_str(), 0666);
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102031);
    EXPECT_EQ(_desktop.settings, left);
    EXPECT_TRUE(fs::exists(*left.at("picture")));
    ASSERT_EQ(run.log.size(), 1U);
    EXPECT_THAT(run.log[0], HasSubstr("is not a file that only this user can write"));
    chmod(keptFile().c_str(), 0600);
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_EQ(_desktop.settings, _own);
}

TEST_F(DesktopBackgroundsTest, ChangeNothingWhenOthersMayWriteToTheFolder) {
    fs::create_directories(_folder);
    chmod(_folder.c_str(), 0777);
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    EXPECT_EQ(_desktop.settings, _own);
    ASSERT_EQ(run.log.size(), 1U);
    EXPECT_THAT(run.log[0], HasSubstr("is not a folder that only this user can write to"));
}

TEST_F(DesktopBackgroundsTest, LetNobodyElseReadTheState) {
    HostRun run(_desktop, _folder);
    showAll(run, 0xFF102030);
    struct stat status;
    ASSERT_EQ(stat(_folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
    ASSERT_EQ(stat(keptFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(DesktopBackgroundsTest, DoNothingForAnUnknownDesktop) {
    HostRun run(_desktop, _folder, false);
    showAll(run, 0xFF102030);
    EXPECT_FALSE(fs::exists(_folder));
    EXPECT_TRUE(run.backgrounds.giveBack());
    EXPECT_THAT(run.log, IsEmpty());
}

TEST_F(DesktopBackgroundsTest, ForgetAnOutputThatIsGone) {
    HostRun run(_desktop, _folder);
    run.show(0xFF102030);
    run.backgrounds.remove("A");
    serve(run);
    EXPECT_EQ(_desktop.settings, _own);
    run.show(0xFF102030);
    run.show(0xFF405060, "B", kSecond);
    serve(run);
    run.backgrounds.remove("A");
    serve(run);
    EXPECT_EQ(PictureFile::read(picture())->bitmap()->width(), 2U);
}

TEST(DesktopBackgrounds, KnowEveryDesktopByTheClassOfItsWindow) {
    for (const char *program : {"Xfdesktop", "Caja", "Gnome-flashback", "Pcmanfm", "pcmanfm-qt",
                                "plasmashell", "XFDESKTOP"}) {
        EXPECT_TRUE(DesktopBackgrounds::knows(program)) << program;
    }
    EXPECT_EQ(DesktopBackgrounds::settingsNameOf("Xfdesktop"), "Xfce's desktop settings");
    EXPECT_FALSE(DesktopBackgrounds::knows("Nemo-desktop")) << "it is transparent";
    EXPECT_FALSE(DesktopBackgrounds::knows(""));
}

} // namespace
