#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;
using ::testing::HasSubstr;

namespace {

class BadInput : public ::testing::Test {
  protected:
    /// Renders the bundle and expects one line about it that says `words`.
    void expectRefused(const std::string &bundle, const std::string &words) {
        const std::string picture = _folder.pathOf("out.png");
        const ProgramRun run({"render", bundle, "-o", picture, "--frames", "2"});
        EXPECT_EQ(run.status(), 1);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
        EXPECT_FALSE(fs::exists(picture));
    }

    void expectWrongUsage(const std::vector<std::string> &arguments, const std::string &words) {
        const ProgramRun run(arguments);
        EXPECT_EQ(run.status(), 2);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(words));
    }

    std::string bundleOfLibrary(const std::string &library) {
        return bundleWithDescription(
            _folder.path(),
            propertyList("<key>name Library</key><string>" + library + "</string>"));
    }

    std::string scriptError(const std::string &script) {
        const std::string path = _folder.write("script.json", script);
        const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "--script", path,
                              "--frames", "2", "--trace", _folder.pathOf("trace")});
        EXPECT_EQ(run.status(), 1);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr(path));
        return run.errors();
    }

    TemporaryFolder _folder;
};

TEST_F(BadInput, NamesABundleThatIsNotThere) {
    expectRefused(_folder.pathOf("None.bundle"), "None.bundle: there is no such bundle");
}

TEST_F(BadInput, TellsAFileFromABundle) {
    expectRefused(_folder.write("File.bundle", "x"), "is a file, not a bundle");
}

TEST_F(BadInput, MissesTheDescription) {
    expectRefused(_folder.makeFolder("Empty.bundle"), "has no description.plist");
}

TEST_F(BadInput, RefusesABrokenDescription) {
    expectRefused(bundleWithDescription(_folder.path(), "no property list"),
                  "description.plist: is unreadable, damaged or no dictionary");
}

TEST_F(BadInput, RefusesADescriptionThatIsAList) {
    expectRefused(
        bundleWithDescription(_folder.path(), "<plist version=\"1.0\"><array></array></plist>"),
        "is unreadable, damaged or no dictionary");
}

TEST_F(BadInput, RefusesADescriptionThatNestsAMillionLevels) {
    std::string description = "<plist version=\"1.0\">";
    for (int i = 0; i < 1'000'000; ++i) {
        description += "<array>";
    }
    expectRefused(bundleWithDescription(_folder.path(), description),
                  "is unreadable, damaged or no dictionary");
}

TEST_F(BadInput, MissesThePicturesOfABundleWithoutALibrary) {
    expectRefused(bundleWithDescription(_folder.path(), propertyList("")),
                  "lumivera_background_.png: is missing or damaged");
}

TEST_F(BadInput, RefusesANameOfTheLibraryThatIsANumber) {
    expectRefused(bundleWithDescription(
                      _folder.path(), propertyList("<key>name Library</key><integer>3</integer>")),
                  "\"name Library\" is not a text");
}

TEST_F(BadInput, MissesTheLibrary) {
    expectRefused(bundleOfLibrary("none.dylib"), "none.dylib: the library that the description "
                                                 "names is missing");
}

TEST_F(BadInput, TellsWhyTheLibraryCannotBeLoaded) {
    const std::string bundle = bundleOfLibrary("text.dylib");
    _folder.write("Made.bundle/text.dylib", "this is no library at all");
    expectRefused(bundle, "text.dylib: cannot be loaded: ");
}

TEST_F(BadInput, RefusesALibraryWithoutTheEntryPoint) {
    const std::string bundle = bundleOfLibrary("foreign.so");
    fs::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libNoEntryPoint.so",
                  bundle + "/foreign.so");
    expectRefused(bundle, "foreign.so: has no function getDeskTopViewInstance");
}

TEST_F(BadInput, RefusesALibraryForAnotherInterfaceBeforeItRuns) {
    const std::string bundle = bundleOfLibrary("future.so");
    fs::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libFutureWallpaper.so",
                  bundle + "/future.so");
    expectRefused(bundle, "future.so: is made for interface 999 of the wallpaper kit, and this "
                          "program has interface ");
}

TEST_F(BadInput, MissesAPetal) {
    const std::string bundle = copyOfShippedBundle(_folder.path());
    for (const char *name :
         {"/lumivera_petal2.png", "/lumivera_petal2@2x.png", "/lumivera_petal2@3x.png"}) {
        fs::remove(bundle + name);
    }
    expectRefused(bundle, "lumivera_petal2.png: is missing or damaged");
}

TEST_F(BadInput, RefusesADamagedBackground) {
    const std::string bundle = copyOfShippedBundle(_folder.path());
    for (const char *name : {"/lumivera_background_.png", "/lumivera_background_@2x.png",
                             "/lumivera_background_@3x.png"}) {
        fs::resize_file(bundle + name, fs::file_size(bundle + name) / 2);
    }
    expectRefused(bundle, "lumivera_background_.png: is missing or damaged");
}

TEST_F(BadInput, RefusesAnEmptySize) {
    expectWrongUsage({"render", "x", "-o", "x.png", "--size", "0x0"}, "1 to 16384 pixels a side");
}

TEST_F(BadInput, RefusesAHugeSize) {
    expectWrongUsage({"render", "x", "-o", "x.png", "--size", "100000x100000"},
                     "1 to 16384 pixels a side");
}

TEST_F(BadInput, RefusesTooManyPixelsWithinTheSides) {
    expectWrongUsage({"render", "x", "-o", "x.png", "--size", "16000x16000"}, "64 million pixels");
}

TEST_F(BadInput, CountsTheDensityIntoTheSize) {
    expectWrongUsage({"render", "x", "-o", "x.png", "--size", "8000x10", "--density", "3"},
                     "1 to 16384 pixels a side");
}

TEST_F(BadInput, RefusesWordsForASize) {
    for (const char *size : {"", "320", "320x", "x480", "320x480x2", "-1x5", "nanxnan", "1e3x5"}) {
        expectWrongUsage({"render", "x", "-o", "x.png", "--size=" + std::string(size)}, "--size");
    }
}

TEST_F(BadInput, RefusesAnOutputOfNoKnownKind) {
    expectWrongUsage({"render", "x", "-o", "x.bmp"}, "x.bmp: is of no known kind");
}

TEST_F(BadInput, RefusesAPatternThatIsNone) {
    for (const char *name : {"x%s.png", "x%04d%04d.png", "x%5d.png", "%d/x.png", "x%.png"}) {
        expectWrongUsage({"render", "x", "-o", name}, "is no pattern");
    }
}

TEST_F(BadInput, WantsSomethingToWrite) {
    expectWrongUsage({"render", "x"}, "has nothing to write");
}

TEST_F(BadInput, WantsACommand) { expectWrongUsage({}, "subcommand"); }

TEST_F(BadInput, RefusesAnUnknownOption) { expectWrongUsage({"list", "--sideways"}, "--sideways"); }

TEST_F(BadInput, RefusesBothFramesAndSeconds) {
    expectWrongUsage({"render", "x", "-o", "x.png", "--frames", "1", "--seconds", "1"}, "excludes");
}

TEST_F(BadInput, NamesTheUnknownEventOfAScript) {
    EXPECT_THAT(scriptError(R"({"events":[{"frame":0,"tap":[1,2]},{"frame":1,"dance":true}]})"),
                HasSubstr("event 1 is of the unknown kind \"dance\""));
}

TEST_F(BadInput, NamesTheEventOfAWrongType) {
    EXPECT_THAT(scriptError(R"({"events":[{"frame":0,"sakuraCount":"many"}]})"),
                HasSubstr("event 0 must give a whole number for \"sakuraCount\""));
}

TEST_F(BadInput, RefusesAScriptThatIsNoJSON) {
    EXPECT_THAT(scriptError("{\"events\": ["), HasSubstr("is no JSON"));
}

TEST_F(BadInput, MissesTheScript) {
    const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "--script",
                          _folder.pathOf("none"), "--trace", "/dev/null"});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.errors(), HasSubstr("none: cannot be read"));
}

TEST_F(BadInput, NamesAFolderThatCannotBeListed) {
    const ProgramRun run({"list", _folder.pathOf("none")});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("none: cannot be read as a folder"));
}

TEST_F(BadInput, NamesAFolderThatMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "needs a user other than root";
    }
    const std::string folder = _folder.makeFolder("closed");
    fs::permissions(folder, fs::perms::none);
    const ProgramRun run({"list", folder});
    fs::permissions(folder, fs::perms::owner_all);
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("closed: cannot be read as a folder"));
}

TEST_F(BadInput, RefusesAPackOfRandomBytes) {
    std::string bytes;
    for (unsigned i = 0, x = 12345; i < 4096; ++i) {
        x = x * 1664525 + 1013904223;
        bytes += static_cast<char>(x >> 24);
    }
    const std::string pack = _folder.write("random.pack", bytes);
    for (const char *command : {"list", "extract"}) {
        const ProgramRun run({"pack", command, pack},
                             {.environment = {}, .largestFile = {}, .folder = _folder.path()});
        EXPECT_EQ(run.status(), 1);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
        EXPECT_THAT(run.errors(), HasSubstr("random.pack: is "));
    }
}

TEST_F(BadInput, SaysWhereToGoWithoutADisplay) {
    const ProgramRun run({"run", shippedBundle("Lumivera.bundle")},
                         {.environment = {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"},
                          .largestFile = {},
                          .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr("lumivera render"));
}

TEST_F(BadInput, KeepsLineEndsInNamesOutOfTheLine) {
    expectRefused(_folder.pathOf("two\nlines.bundle"), "two\\nlines.bundle");
}

/// Renders with a limit on file sizes, which takes the place of a full disk.
class FullDisk : public ::testing::TestWithParam<const char *> {};

TEST_P(FullDisk, LeavesNothingBehind) {
    const bool isFilm = std::string_view(GetParam()).ends_with(".mp4");
    if (isFilm && std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "needs ffmpeg";
    }
    const TemporaryFolder folder;
    const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "-o",
                          folder.pathOf(GetParam()), "--frames", "40", "--seed", "1"},
                         {.environment = {}, .largestFile = 20000, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_THAT(run.errors(), HasSubstr(folder.path()));
    EXPECT_THAT(run.errors(), HasSubstr(isFilm ? "ffmpeg failed: " : "cannot be written"));
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullDisk,
                         ::testing::Values("x.png", "x%03d.png", "x.webp", "x.mp4"));

TEST(FullDisk, LeavesNoTraceBehind) {
    const TemporaryFolder folder;
    const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "--trace",
                          folder.pathOf("trace"), "--frames", "400"},
                         {.environment = {}, .largestFile = 20000, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(FullDisk, KeepsTheOldPicture) {
    const TemporaryFolder folder;
    const std::string old = folder.write("x.png", "old");
    const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "-o", old, "--frames", "1"},
                         {.environment = {}, .largestFile = 20000, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_EQ(contentsOf(old), "old");
}

TEST(FilmProgram, ReplacesWhatALinkLeadsToAndNotTheLink) {
    if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "needs ffmpeg";
    }
    const TemporaryFolder folder;
    const std::string target = folder.write("target", "old");
    fs::create_symlink(target, folder.pathOf("x.mp4"));
    const ProgramRun run({"render", shippedBundle("Lumivera.bundle"), "-o", folder.pathOf("x.mp4"),
                          "--frames", "2", "--size", "32x32"});
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_TRUE(fs::is_symlink(folder.pathOf("x.mp4")));
    EXPECT_THAT(contentsOf(target), HasSubstr("ftyp"));
}

TEST(FilmProgram, IsNamedWhenItIsMissing) {
    const TemporaryFolder folder;
    const ProgramRun run(
        {"render", shippedBundle("Lumivera.bundle"), "-o", folder.pathOf("x.mp4"), "--frames", "2"},
        {.environment = {"PATH=/nonexistent"}, .largestFile = {}, .folder = {}});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.errors(), HasSubstr("install the package ffmpeg"));
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

} // namespace
