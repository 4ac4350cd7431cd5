#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class NewCode : public ::testing::Test {
  protected:
    ProgramRun make(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "new");
        ProgramRun::Options options;
        options.folder = _folder.path();
        return ProgramRun(arguments, options);
    }

    TemporaryFolder _folder;
};

TEST_F(NewCode, MakesAFolderOfSourcesAndSaysHowToBuildThem) {
    const auto run = make({"--code", "Fireflies"});
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_EQ(run.errors(), "");
    EXPECT_EQ(run.output(), "made Fireflies; type next:\n"
                            "  cmake -S Fireflies -B Fireflies/build -D CMAKE_PREFIX_PATH=" +
                                fs::canonical(LUMIVERA_BUILD_DIR).string() +
                                "\n  cmake --build Fireflies/build\n"
                                "  lumivera render Fireflies/build/Fireflies.bundle"
                                " -o Fireflies.webp\n");
    for (const char *name :
         {"FirefliesWallpaper.cpp", "CMakeLists.txt", "README.md", "Pictures/background.png",
          "Sounds/chime.wav", "Tests/compare-frames.cmake", ".gitignore"}) {
        EXPECT_TRUE(fs::exists(_folder.pathOf("Fireflies/") + name)) << name;
    }
    for (const auto &entry : fs::recursive_directory_iterator(_folder.pathOf("Fireflies"))) {
        if (entry.is_regular_file()) {
            EXPECT_THAT(contentsOf(entry.path()), Not(HasSubstr("NewName"))) << entry.path();
        }
    }
}

TEST_F(NewCode, QuotesAFolderWithABlankInItsName) {
    _folder.makeFolder("my drafts");
    const auto run = make({"my drafts/Fireflies/", "--code"});
    EXPECT_EQ(run.status(), 0) << run.errors();
    EXPECT_THAT(run.output(), AllOf(StartsWith("made my drafts/Fireflies; type next:\n"
                                               "  cmake -S 'my drafts/Fireflies' -B "),
                                    EndsWith("  cmake --build 'my drafts/Fireflies'/build\n"
                                             "  lumivera render "
                                             "'my drafts/Fireflies/build/Fireflies.bundle'"
                                             " -o 'my drafts/Fireflies.webp'\n")));
}

TEST_F(NewCode, MakesNothingOverWhatIsThere) {
    _folder.write("Fireflies", "mine");
    const auto run = make({"--code", "Fireflies"});
    EXPECT_EQ(run.status(), 1);
    EXPECT_EQ(run.errors(), "lumivera: Fireflies: is there already; take another name, or remove "
                            "it first\n");
    EXPECT_EQ(contentsOf(_folder.pathOf("Fireflies")), "mine");
}

TEST_F(NewCode, MustBeToldWhatToMake) {
    for (const auto &arguments :
         std::vector<std::vector<std::string>>{{"Fireflies"}, {"--code"}, {}}) {
        const auto run = make(arguments);
        EXPECT_EQ(run.status(), 2);
        EXPECT_TRUE(run.saysOneLine()) << run.errors();
    }
    EXPECT_FALSE(fs::exists(_folder.pathOf("Fireflies")));
}

} // namespace
