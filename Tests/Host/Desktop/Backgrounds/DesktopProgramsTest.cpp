#include "Host/Desktop/Backgrounds/DesktopProgram.h"
#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

namespace {

const DesktopPictures kPictures = {
    {{"HDMI 1", {0, 0, 8, 6}, "/p/one.png"}, {"DP-2", {8, 0, 16, 6}, "/p/two.png"}}, "/p/é's.png"};

ToolResult good(const std::string &output) { return {output, {}}; }

TEST(XfdesktopProgram, ReadsEveryValueOfTheListing) {
    const auto program = makeXfdesktopProgram();
    const auto settings = program->settingsFrom({
        good("/backdrop/screen0/monitorA/workspace0/image-style  5\n"
             "/backdrop/screen0/monitorA/workspace0/last-image    two  spaces.png\n"
             "/backdrop/screen0/monitorA/workspace10/last-image \n"
             "/backdrop/screen0/monitorA/workspace1/last-image   \n"
             "/desktop-icons/style                               2\n"),
        good("4\n"),
    });
    EXPECT_THAT(settings,
                UnorderedElementsAre(
                    Pair("/backdrop/screen0/monitorA/workspace0/image-style", "5"),
                    Pair("/backdrop/screen0/monitorA/workspace0/last-image", " two  spaces.png"),
                    Pair("/backdrop/screen0/monitorA/workspace1/last-image", ""),
                    Pair("/general/workspace_count", "4\n")));
}

TEST(XfdesktopProgram, ShowsEachOutputsPictureOnEachWorkspace) {
    const auto settings = makeXfdesktopProgram()->settingsFor(
        kPictures, {{"/general/workspace_count", "2\n"},
                    {"/backdrop/screen0/monitorDP-2/workspace2/last-image", "/own.png"},
                    {"/backdrop/screen0/monitorHDMI1/workspace1/backdrop-cycle-enable", "true"}});
    const std::string first = "/backdrop/screen0/monitorHDMI1/workspace";
    const std::string second = "/backdrop/screen0/monitorDP-2/workspace";
    EXPECT_THAT(
        settings,
        UnorderedElementsAre(
            Pair(first + "0/last-image", "/p/one.png"), Pair(first + "0/image-style", "3"),
            Pair(first + "1/last-image", "/p/one.png"), Pair(first + "1/image-style", "3"),
            Pair(first + "1/backdrop-cycle-enable", "false"),
            Pair(second + "0/last-image", "/p/two.png"), Pair(second + "0/image-style", "3"),
            Pair(second + "1/last-image", "/p/two.png"), Pair(second + "1/image-style", "3"),
            Pair(second + "2/last-image", "/p/two.png"), Pair(second + "2/image-style", "3")));
}

TEST(XfdesktopProgram, ShowsThePictureWithoutAnyKnownWorkspace) {
    EXPECT_EQ(makeXfdesktopProgram()->settingsFor(kPictures, {}).size(), 4U);
    EXPECT_EQ(makeXfdesktopProgram()
                  ->settingsFor(kPictures, {{"/general/workspace_count", "1000000"}})
                  .size(),
              64U * 4);
}

TEST(XfdesktopProgram, SetsValuesOfTheirTypesAndResetsTheRest) {
    const auto calls = makeXfdesktopProgram()->set({{"/w/backdrop-cycle-enable", "false"},
                                                    {"/w/image-style", "3"},
                                                    {"/w/last-image", "-a b"},
                                                    {"/x/last-image", std::nullopt}});
    const auto call = [](const std::string &key, std::vector<std::string> rest) {
        ToolCall result{{"xfconf-query", "-c", "xfce4-desktop", "-p", key}};
        result.arguments.insert(result.arguments.end(), rest.begin(), rest.end());
        return result;
    };
    EXPECT_THAT(calls,
                ElementsAre(call("/w/backdrop-cycle-enable", {"-n", "-t", "bool", "-s", "false"}),
                            call("/w/image-style", {"-n", "-t", "int", "-s", "3"}),
                            call("/w/last-image", {"-n", "-t", "string", "-s", "-a b"}),
                            call("/x/last-image", {"-r"})));
}

TEST(XfdesktopProgram, NeedsItsToolButNotTheWorkspaces) {
    const auto program = makeXfdesktopProgram();
    EXPECT_THROW(program->settingsFrom({{"", "no"}, good("4\n")}), HostError);
    EXPECT_THAT(program->settingsFrom({good(""), {"", "no"}}), IsEmpty());
    EXPECT_NE(program->groupOf("/a/workspace0/last-image"),
              program->groupOf("/a/workspace1/last-image"));
}

TEST(CajaProgram, CountsDefaultsAsNotSet) {
    const auto settings = makeCajaProgram()->settingsFrom({
        good("org.mate.background picture-filename '/a b.png'\n"
             "org.mate.background picture-options 'zoom'\n"
             "org.mate.background.more key 1\n"),
        good("org.mate.background picture-filename '/default.png'\n"
             "org.mate.background picture-options 'zoom'\n"),
    });
    EXPECT_THAT(settings, UnorderedElementsAre(Pair("picture-filename", "'/a b.png'"),
                                               Pair("picture-options", std::nullopt)));
}

TEST(CajaProgram, ShowsOnePictureForTheWholeScreen) {
    const auto program = makeCajaProgram();
    EXPECT_FALSE(program->hasPicturePerOutput());
    EXPECT_THAT(program->settingsFor(kPictures, {{"picture-filename", std::nullopt}}),
                UnorderedElementsAre(Pair("picture-filename", "\"/p/é's.png\""),
                                     Pair("picture-options", "'spanned'")));
    EXPECT_THAT(program->set({{"a", "'x'"}, {"b", std::nullopt}}),
                ElementsAre(ToolCall{{"gsettings", "set", "org.mate.background", "a", "'x'"}},
                            ToolCall{{"gsettings", "reset", "org.mate.background", "b"}}));
    EXPECT_THROW(program->settingsFrom({good(""), {"", "no"}}), HostError);
}

TEST(GnomeFlashbackProgram, SetsThePictureForTheDarkStyleWhereThereIsOne) {
    const auto program = makeGnomeFlashbackProgram();
    const DesktopSettings older{{"picture-uri", std::nullopt}};
    EXPECT_THAT(program->settingsFor(kPictures, older),
                UnorderedElementsAre(Pair("picture-uri", "'file:///p/%C3%A9%27s.png'"),
                                     Pair("picture-options", "'spanned'")));
    EXPECT_EQ(program
                  ->settingsFor(kPictures,
                                {{"picture-uri", std::nullopt}, {"picture-uri-dark", std::nullopt}})
                  .size(),
              3U);
}

constexpr const char *kAnswer =
    R"({"type":"s","data":["{\"id\":1,\"place\":\"0,0\",\"plugin\":\"org.kde.slideshow\",)"
    R"(\"Image\":null,\"FillMode\":\"2\"}\n{\"id\":22,\"place\":\"8,0\",)"
    R"(\"plugin\":\"org.kde.image\",\"Image\":\"file:///a\",\"FillMode\":null}\n)"
    R"({\"id\":3,\"place\":null,\"plugin\":\"x\",\"Image\":null,\"FillMode\":null}\n"]})";

TEST(PlasmaProgram, ShowsThePictureOnTheScreenAtTheSamePlace) {
    const auto program = makePlasmaProgram();
    const auto present = program->settingsFrom({good(kAnswer)});
    EXPECT_EQ(present.at("1/plugin"), "org.kde.slideshow");
    EXPECT_EQ(present.at("1/Image"), std::nullopt);
    EXPECT_EQ(present.at("22/Image"), "file:///a");
    EXPECT_THAT(program->settingsFor(kPictures, present),
                UnorderedElementsAre(
                    Pair("1/plugin", "org.kde.image"), Pair("1/Image", "file:///p/one.png"),
                    Pair("1/FillMode", "0"), Pair("22/plugin", "org.kde.image"),
                    Pair("22/Image", "file:///p/two.png"), Pair("22/FillMode", "0")));
}

TEST(PlasmaProgram, LeavesOurOwnWallpaperAlone) {
    const auto program = makePlasmaProgram();
    auto present = program->settingsFrom({good(kAnswer)});
    present["1/plugin"] = "org.lumivera.wallpaper";
    EXPECT_THAT(program->settingsFor(kPictures, present),
                UnorderedElementsAre(Pair("22/plugin", "org.kde.image"),
                                     Pair("22/Image", "file:///p/two.png"),
                                     Pair("22/FillMode", "0")));
}

TEST(PlasmaProgram, SetsAllOfAContainmentInOneScriptWithThePlugInLast) {
    const auto calls = makePlasmaProgram()->set(
        {{"1/Image", std::nullopt}, {"1/plugin", "a\"b"}, {"22/FillMode", "0"}});
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].arguments.back(),
              "const d = desktopById(1);\n"
              "d.currentConfigGroup = [\"Wallpaper\", \"org.kde.image\", \"General\"];\n"
              "d.writeConfig(\"Image\", null);\n"
              "d.wallpaperPlugin = \"a\\\"b\";\n");
    EXPECT_THAT(calls[1].arguments.back(),
                ::testing::HasSubstr("writeConfig(\"FillMode\", \"0\")"));
}

TEST(PlasmaProgram, RefusesAnAnswerThatItDoesNotUnderstand) {
    const auto program = makePlasmaProgram();
    for (const char *answer : {"", "{}", R"({"data":["no"]})", R"({"data":[1]})",
                               R"({"data":["{\"id\":1}"]})", R"({"data":["{\"id\":\"1\"}"]})"}) {
        EXPECT_THROW(program->settingsFrom({good(answer)}), HostError) << answer;
    }
    EXPECT_THROW(program->settingsFrom({{"", "busctl: no"}}), HostError);
    EXPECT_THAT(program->settingsFrom({good(R"({"type":"s","data":[""]})")}), IsEmpty());
}

/// A home folder with settings, and a folder of processes.
class FileManagerTest : public ::testing::Test {
  protected:
    FileManagerTest() { _folder.makeFolder("proc"); }

    void addProcess(const std::string &commandLine, const std::string &environment) {
        const std::string process = "proc/" + std::to_string(++_processes);
        _folder.makeFolder(process);
        _folder.makeFolder("proc/not-a-process");
        _folder.write(process + "/cmdline", withZeros(commandLine));
        _folder.write(process + "/environ", withZeros(environment));
    }

    static std::string withZeros(std::string words) {
        for (char &c : words) {
            c = c == ' ' ? '\0' : c;
        }
        return words + '\0';
    }

    std::string write(const std::string &program, const std::string &profile,
                      const std::string &name, const std::string &text) {
        std::filesystem::create_directories(_folder.pathOf("config/" + program + "/" + profile));
        return _folder.write("config/" + program + "/" + profile + "/" + name, text);
    }

    const TemporaryFolder _folder;
    const std::string _proc = _folder.pathOf("proc");
    const EnvironmentVariable _config{"XDG_CONFIG_HOME", _folder.pathOf("config").c_str()};
    const EnvironmentVariable _system{"XDG_CONFIG_DIRS", _folder.pathOf("system").c_str()};
    const EnvironmentVariable _display{"DISPLAY", ":7"};
    int _processes = 0;
};

TEST_F(FileManagerTest, IsTheOneThatRunsOnOurDisplayWithADesktop) {
    write("pcmanfm", "LXDE", "desktop-items-0.conf", "[*]\nwallpaper=/a\\sb.png\n");
    const auto program = makePcmanfmProgram(_proc);
    addProcess("/usr/bin/pcmanfm --profile x", "DISPLAY=:7");
    addProcess("/usr/bin/pcmanfm --desktop --profile y", "DISPLAY=:8");
    addProcess("/usr/bin/pcmanfm-qt --desktop --profile z", "DISPLAY=:7");
    EXPECT_THROW(program->settingsFor(kPictures, {}), HostError);
    addProcess("/usr/bin/pcmanfm --desktop --profile LXDE", "HOME=/ DISPLAY=:7 X=1");
    const auto present = program->settingsFrom({});
    EXPECT_EQ(present.at("LXDE/wallpaper"), "/a b.png");
    EXPECT_EQ(present.at("LXDE/wallpaper_mode"), std::nullopt);
    EXPECT_THAT(program->settingsFor(kPictures, present),
                UnorderedElementsAre(Pair("LXDE/wallpaper", "/p/é's.png"),
                                     Pair("LXDE/wallpaper_mode", "screen")));
}

TEST_F(FileManagerTest, HasTheProfileOfEveryFormOfTheOption) {
    for (const char *option : {"--profile=P", "-pP", "-p P", "--profile P"}) {
        const TemporaryFolder folder;
        std::filesystem::create_directories(folder.pathOf("1"));
        folder.write("1/cmdline", withZeros("pcmanfm --desktop " + std::string(option)));
        folder.write("1/environ", withZeros("DISPLAY=:7"));
        EXPECT_THAT(makePcmanfmProgram(folder.path())->settingsFor(kPictures, {}),
                    ::testing::Contains(Pair("P/wallpaper_mode", "screen")))
            << option;
    }
    addProcess("pcmanfm --desktop", "DISPLAY=:7");
    EXPECT_THAT(makePcmanfmProgram(_proc)->settingsFor(kPictures, {}),
                ::testing::Contains(Pair("default/wallpaper_mode", "screen")));
}

TEST_F(FileManagerTest, IsToldByItsCommandLineWhileItRuns) {
    const std::string text = "[*]\nwallpaper_mode=color\n";
    const std::string file = write("pcmanfm", "LXDE", "desktop-items-0.conf", text);
    addProcess("pcmanfm --desktop --profile LXDE", "DISPLAY=:7");
    const auto program = makePcmanfmProgram(_proc);
    EXPECT_EQ(program->set({{"LXDE/wallpaper", "/é.png"}, {"LXDE/wallpaper_mode", "screen"}})[0],
              (ToolCall{{"pcmanfm", "--set-wallpaper=/é.png", "--wallpaper-mode=screen"}}));
    EXPECT_EQ(
        program->set({{"LXDE/wallpaper", std::nullopt}, {"LXDE/wallpaper_mode", std::nullopt}})[0],
        (ToolCall{{"pcmanfm", "--wallpaper-mode=color"}}));
    EXPECT_EQ(contentsOf(file), text);
}

TEST_F(FileManagerTest, FindsItsOwnValuesInTheFileWhenItStartsLater) {
    const std::string file = write("pcmanfm", "LXDE", "desktop-items-0.conf",
                                   "[*]\nwallpaper_mode=screen\nwallpaper=/p\nshow_trash=1\n");
    const auto program = makePcmanfmProgram(_proc);
    EXPECT_THAT(program->set({{"LXDE/wallpaper", std::nullopt}, {"LXDE/wallpaper_mode", "color"}}),
                IsEmpty());
    EXPECT_EQ(contentsOf(file), "[*]\nwallpaper_mode=color\nshow_trash=1\n");
}

TEST_F(FileManagerTest, IsLeftAloneWithAWallpaperForEachWorkspace) {
    addProcess("pcmanfm --desktop --profile LXDE", "DISPLAY=:7");
    EXPECT_THROW(
        makePcmanfmProgram(_proc)->settingsFor(kPictures, {{"LXDE/wallpaper_common", "0"}}),
        HostError);
}

TEST_F(FileManagerTest, ShowsOnlyThePictureInTheModeThatItHas) {
    const std::string own = _folder.write("own é.png", "x");
    write("pcmanfm-qt", "lxqt", "settings.conf",
          "[Desktop]\nWallpaper=\"" + _folder.path() +
              "/own \\xe9.png\"\nWallpaperMode=zoom\nSlideShowInterval=0\nWallpaperDirectory=/a\n");
    addProcess("pcmanfm-qt --desktop --profile=lxqt", "DISPLAY=:7");
    const auto program = makePcmanfmQtProgram(_proc);
    const auto present = program->settingsFrom({});
    EXPECT_EQ(present.at("lxqt/Wallpaper"), own);
    EXPECT_THAT(program->settingsFor(kPictures, present),
                UnorderedElementsAre(Pair("lxqt/Wallpaper", "/p/é's.png")));
    EXPECT_EQ(program->set({{"lxqt/Wallpaper", own}})[0],
              (ToolCall{{"pcmanfm-qt", "--set-wallpaper=" + own}}));
}

TEST_F(FileManagerTest, IsLeftAloneWhenItCouldNotBeGivenBackItsOwn) {
    const std::string own = _folder.write("own.png", "x");
    addProcess("pcmanfm-qt --desktop --profile lxqt", "DISPLAY=:7");
    const auto program = makePcmanfmQtProgram(_proc);
    const DesktopSettings fine{{"lxqt/Wallpaper", own}, {"lxqt/WallpaperMode", "fit"}};
    EXPECT_NO_THROW(program->settingsFor(kPictures, fine));
    const std::vector<DesktopSettings> changes = {
        {{"lxqt/Wallpaper", "/missing.png"}},
        {{"lxqt/Wallpaper", std::nullopt}},
        {{"lxqt/WallpaperMode", "none"}},
        {{"lxqt/WallpaperMode", "transparent"}},
        {{"lxqt/WallpaperMode", std::nullopt}},
        {{"lxqt/WallpaperDirectory", "/a"}, {"lxqt/SlideShowInterval", "5"}},
        {{"lxqt/PerScreenWallpaper", "true"}},
    };
    for (DesktopSettings settings : changes) {
        settings.insert(fine.begin(), fine.end());
        EXPECT_THROW(program->settingsFor(kPictures, settings), HostError)
            << settings.begin()->first;
    }
}

TEST_F(FileManagerTest, HasTheSystemsSettingsUntilItHasOwnOnes) {
    std::filesystem::create_directories(_folder.pathOf("system/pcmanfm-qt/lxqt"));
    _folder.write("system/pcmanfm-qt/lxqt/settings.conf", "[Desktop]\nWallpaper=/sys.png\n");
    addProcess("pcmanfm-qt --desktop --profile lxqt", "DISPLAY=:7");
    const auto program = makePcmanfmQtProgram(_proc);
    EXPECT_EQ(program->settingsFrom({}).at("lxqt/Wallpaper"), "/sys.png");
    write("pcmanfm-qt", "lxqt", "settings.conf", "[Desktop]\nWallpaper=/own.png\n");
    EXPECT_EQ(program->settingsFrom({}).at("lxqt/Wallpaper"), "/own.png");
}

TEST(FileURI, EscapesWhatIsNoPlainLetter) {
    EXPECT_EQ(fileURI("/a-b_c.~/é %'.png"), "file:///a-b_c.~/%C3%A9%20%25%27.png");
}

} // namespace
