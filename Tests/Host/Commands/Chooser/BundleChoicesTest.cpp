#include "Host/Commands/Chooser/BundleChoices.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace Lumivera;

namespace {

namespace fs = std::filesystem;

/// The chooser finds the test's own folders and the one beside the program, no others.
class BundleChoicesTest : public ::testing::Test {
  protected:
    BundleChoicesTest() {
        setenv("XDG_DATA_HOME", _folder.pathOf("home").c_str(), 1);
        setenv("XDG_DATA_DIRS", _folder.pathOf("system").c_str(), 1);
    }
    ~BundleChoicesTest() override {
        unsetenv("XDG_DATA_HOME");
        unsetenv("XDG_DATA_DIRS");
    }

    std::string install(const std::string &folder, const std::string &name) {
        return make(folder + "/lumivera/wallpapers", name);
    }

    std::string make(const std::string &folder, const std::string &name) {
        const std::string path = _folder.pathOf(folder) + "/" + name;
        fs::create_directories(path);
        std::ofstream(path + "/description.plist")
            << propertyList("<key>name Library</key><string>none.so</string>");
        return path;
    }

    static std::size_t count(const std::vector<BundleListing> &bundles, const std::string &path) {
        return static_cast<std::size_t>(
            std::count_if(bundles.begin(), bundles.end(),
                          [&](const BundleListing &bundle) { return bundle.path == path; }));
    }

    TemporaryFolder _folder;
};

TEST_F(BundleChoicesTest, FindsTheUsersBundlesBeforeTheSystemsOfTheSameName) {
    const std::string near = install("home", "Sleet.bundle");
    const std::string far = install("system", "Sleet.bundle");
    const std::string other = install("system", "Rain.bundle");
    const auto bundles = BundleChoices::find({});
    EXPECT_EQ(count(bundles, near), 1u);
    EXPECT_EQ(count(bundles, far), 0u);
    EXPECT_EQ(count(bundles, other), 1u);
}

TEST_F(BundleChoicesTest, PutsNamedFoldersFirstAndHidesNothingOfThem) {
    install("home", "Sleet.bundle");
    const std::string named = make("mine", "Sleet.bundle");
    const auto bundles = BundleChoices::find({_folder.pathOf("mine")});
    ASSERT_GE(bundles.size(), 2u);
    EXPECT_EQ(bundles[0].path, named);
}

TEST_F(BundleChoicesTest, ShowsABundleOnceHoweverAFolderIsNamed) {
    make("mine", "Sleet.bundle");
    fs::create_directory_symlink(_folder.pathOf("mine"), _folder.pathOf("link"));
    const auto bundles = BundleChoices::find(
        {_folder.pathOf("mine"), _folder.pathOf("link"), _folder.pathOf("mine") + "/"});
    const auto snows = std::count_if(bundles.begin(), bundles.end(),
                                     [](const auto &bundle) { return bundle.name == "Sleet"; });
    EXPECT_EQ(snows, 1);
}

TEST_F(BundleChoicesTest, RefusesAFolderThatIsNotThere) {
    EXPECT_THROW(BundleChoices::find({_folder.pathOf("nowhere")}), HostError);
}

TEST_F(BundleChoicesTest, FindsTheConfiguredBundleByPathAndByName) {
    const std::string first = install("home", "Rain.bundle");
    const std::string second = install("home", "Sleet.bundle");
    const auto bundles = BundleChoices::find({});
    EXPECT_EQ(bundles[BundleChoices::indexOf(bundles, second)].path, second);
    EXPECT_EQ(bundles[BundleChoices::indexOf(bundles, second + "/")].path, second);
    EXPECT_EQ(bundles[BundleChoices::indexOf(bundles, "Sleet")].path, second);
}

TEST_F(BundleChoicesTest, BeginsWithABundleThatIsInOrder) {
    std::vector<BundleListing> bundles(3);
    bundles[0].problem = "is no folder";
    EXPECT_EQ(BundleChoices::indexOf(bundles, "/no/such.bundle"), 1u);
    EXPECT_EQ(BundleChoices::indexOf({}, ""), 0u);
}

} // namespace
