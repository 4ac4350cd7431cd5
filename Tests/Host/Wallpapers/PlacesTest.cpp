#include "Host/Wallpapers/Places.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace Lumivera;

namespace {

struct UserFolder {
    const char *variable;
    const char *standardPath;
    std::string (*pathOf)(const std::string &name);
};

constexpr UserFolder kFolders[] = {
    {"XDG_CONFIG_HOME", "/h/.config/x", Places::configurationPath},
    {"XDG_DATA_HOME", "/h/.local/share/x", Places::dataPath},
    {"XDG_STATE_HOME", "/h/.local/state/x", Places::statePath},
};

TEST(Places, AreInTheFoldersThatTheVariablesName) {
    const EnvironmentVariable home("HOME", "/h");
    for (const UserFolder &folder : kFolders) {
        const EnvironmentVariable variable(folder.variable, "/c");
        EXPECT_EQ(folder.pathOf("x"), "/c/x") << folder.variable;
    }
}

TEST(Places, AreInTheHomeFolderWithoutAnAbsolutePathInTheVariable) {
    const EnvironmentVariable home("HOME", "/h/");
    for (const UserFolder &folder : kFolders) {
        for (const char *value : {static_cast<const char *>(nullptr), "", "relative"}) {
            const EnvironmentVariable variable(folder.variable, value);
            EXPECT_EQ(folder.pathOf("x"), folder.standardPath) << folder.variable;
        }
    }
}

TEST(Places, AreInTheRootFolderWithoutAHome) {
    const EnvironmentVariable home("HOME", nullptr);
    const EnvironmentVariable folder("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(Places::homeFolder(), "");
    EXPECT_EQ(Places::configurationPath("x"), "/.config/x");
}

TEST(Places, HaveARuntimeFolderOnlyWhereTheVariableNamesOne) {
    {
        const EnvironmentVariable folder("XDG_RUNTIME_DIR", "/r");
        EXPECT_EQ(Places::runtimePath("x"), "/r/x");
    }
    const EnvironmentVariable folder("XDG_RUNTIME_DIR", "relative");
    EXPECT_EQ(Places::runtimePath("x"), std::nullopt);
}

/// A user's folder with bundles, and no other installed ones but those of the build.
class InstalledBundles : public ::testing::Test {
  protected:
    /// Returns the path of a bundle whose description has the name.
    std::string add(const std::string &folder, const std::string &name) const {
        const std::string path = _folder.pathOf("lumivera/wallpapers/" + folder);
        std::filesystem::create_directories(path);
        _folder.write("lumivera/wallpapers/" + folder + "/description.plist",
                      propertyList("<key>name</key><string>" + name + "</string>"));
        return path;
    }

    const TemporaryFolder _folder;
    const EnvironmentVariable _data{"XDG_DATA_HOME", _folder.path().c_str()};
    const EnvironmentVariable _system{"XDG_DATA_DIRS", "/nowhere"};
};

TEST_F(InstalledBundles, AreFoundByTheNamesOfTheirFoldersAndTheirDescriptions) {
    const std::string path = add("Sleet.bundle", "First Sleet");
    for (const char *name : {"Sleet", "Sleet.bundle", "First Sleet"}) {
        EXPECT_EQ(Places::findBundle(name), path) << name;
        EXPECT_EQ(Places::requireBundle(name), path) << name;
    }
    EXPECT_THROW(Places::requireBundle("Second Sleet"), HostError);
}

TEST_F(InstalledBundles, AreFoundByTheirFoldersFirst) {
    add("A.bundle", "Sleet");
    const std::string path = add("Sleet.bundle", "Ice");
    EXPECT_EQ(Places::findBundle("Sleet"), path);
}

TEST_F(InstalledBundles, GoIntoTheUsersDataFolder) {
    EXPECT_EQ(Places::userWallpapersFolder(), _folder.pathOf("lumivera/wallpapers"));
}

TEST(Places, NameEveryWallpaperFolderOnce) {
    const EnvironmentVariable home("XDG_DATA_HOME", "/d");
    const EnvironmentVariable system("XDG_DATA_DIRS", "/s:relative:/d/:/s/../t");
    auto folders = Places::wallpaperFolders();
    ASSERT_FALSE(folders.empty());
    folders.erase(folders.begin()); // the program's own
    EXPECT_EQ(folders, (std::vector<std::string>{"/d/lumivera/wallpapers", "/s/lumivera/wallpapers",
                                                 "/t/lumivera/wallpapers"}));
}

} // namespace
