#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

using ::testing::AllOf;
using ::testing::HasSubstr;
using Json = nlohmann::json;

namespace {

Json listed(const std::vector<std::string> &folders) {
    std::vector<std::string> arguments{"list", "--json"};
    arguments.insert(arguments.end(), folders.begin(), folders.end());
    const ProgramRun run(arguments);
    EXPECT_EQ(run.status(), 0) << run.errors();
    return Json::parse(run.output());
}

TEST(List, FindsTheBundlesBesideTheProgram) {
    const ProgramRun run({"list"});
    EXPECT_EQ(run.status(), 0);
    for (const char *name : {"Fireflies", "Lumivera", "Maple", "Snow"}) {
        EXPECT_THAT(run.output(), HasSubstr(name + std::string(".bundle")));
    }
}

TEST(List, FindsBundlesInTheUsersDataFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.pathOf("lumivera/wallpapers/Own.bundle"));
    const ProgramRun run(
        {"list"},
        {.environment = {"XDG_DATA_HOME=" + folder.path()}, .largestFile = {}, .folder = {}});
    EXPECT_THAT(run.output(), HasSubstr("Own.bundle"));
}

TEST(List, ShowsTheBundlesOfAFolderThatIsNamedTwiceOnce) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.pathOf("lumivera/wallpapers/Own.bundle"));
    const std::string twice = folder.path() + ":" + folder.path() + "/";
    const ProgramRun run(
        {"list", "--json"},
        {.environment = {"XDG_DATA_DIRS=" + twice}, .largestFile = {}, .folder = {}});
    std::size_t count = 0;
    for (const Json &entry : Json::parse(run.output())) {
        count += entry["path"].get<std::string>().ends_with("/Own.bundle") ? 1 : 0;
    }
    EXPECT_EQ(count, 1u) << run.output();
}

TEST(List, TellsWhatTheDescriptionSays) {
    const TemporaryFolder folder;
    const std::string path = bundleWithDescription(
        folder.path(), propertyList("<key>name Library</key><string>none.dylib</string>"
                                    "<key>name</key><string>Snow</string>"
                                    "<key>author</key><string>Me</string>"
                                    "<key>license</key><string>CC-BY-4.0</string>"
                                    "<key>sakura Count</key><integer>42</integer>"
                                    "<key>falling Speed</key><string>3 quick</string>"));
    const Json entry = listed({folder.path()}).at(0);
    EXPECT_EQ(entry["path"], path);
    EXPECT_EQ(entry["name"], "Snow");
    EXPECT_EQ(entry["author"], "Me");
    EXPECT_EQ(entry["license"], "CC-BY-4.0");
    const std::string table = ProgramRun({"list", folder.path()}).output();
    EXPECT_THAT(table, AllOf(HasSubstr("LICENCE"), HasSubstr("CC-BY-4.0")));
    EXPECT_EQ(entry["petals"], 42);
    EXPECT_EQ(entry["speed"], 3);
    EXPECT_TRUE(entry["problem"].is_null());
}

TEST(List, FindsNoFaultInABundleWithoutALibrary) {
    const TemporaryFolder folder;
    bundleWithDescription(folder.path(), propertyList("<key>name</key><string>Snow</string>"));
    const Json entry = listed({folder.path()}).at(0);
    EXPECT_EQ(entry["name"], "Snow");
    EXPECT_TRUE(entry["problem"].is_null());
}

TEST(List, ShowsBrokenBundlesWithWhatIsWrong) {
    const TemporaryFolder folder;
    folder.write("File.bundle", "");
    folder.makeFolder("Empty.bundle");
    folder.makeFolder("Torn.bundle");
    folder.write("Torn.bundle/description.plist", "<plist");
    const Json entries = listed({folder.path()});
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0]["problem"], "has no description.plist");
    EXPECT_EQ(entries[1]["problem"], "is no folder");
    EXPECT_EQ(entries[2]["problem"], "description.plist is unreadable, damaged or no dictionary");
}

TEST(List, ShowsTheReadableFoldersAndComplainsOfTheOther) {
    const TemporaryFolder folder;
    folder.makeFolder("A.bundle");
    const ProgramRun run({"list", folder.pathOf("none"), folder.path()});
    EXPECT_EQ(run.status(), 1);
    EXPECT_THAT(run.output(), HasSubstr("A.bundle"));
    EXPECT_TRUE(run.saysOneLine()) << run.errors();
}

TEST(List, SaysThatAFolderHasNone) {
    const TemporaryFolder folder;
    EXPECT_EQ(ProgramRun({"list", folder.path()}).output(), "No wallpapers found.\n");
    EXPECT_EQ(listed({folder.path()}), Json::array());
}

} // namespace
