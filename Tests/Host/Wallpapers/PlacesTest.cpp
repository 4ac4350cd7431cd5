#include "Host/Wallpapers/Places.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"

#include <gtest/gtest.h>

#include <algorithm>

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
