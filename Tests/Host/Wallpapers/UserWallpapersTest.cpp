#include "Host/Wallpapers/UserWallpapers.h"

#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleFolder.h"
#include "Host/Wallpapers/Places.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Lumivera;
namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::vector<std::uint8_t> bytesIn(const std::string &text) { return {text.begin(), text.end()}; }

BundleContents bundleWith(const std::string &petal, const std::string &name = "Sleet.bundle") {
    return {"x",
            name,
            {{"description.plist",
              bytesIn(propertyList("<key>name</key><string>First Sleet</string>"))},
             {"d/petal.png", bytesIn(petal)}}};
}

template <typename Work> std::string problemOf(const Work &work) {
    try {
        work();
    } catch (const HostError &error) {
        return error.what();
    }
    return "";
}

class UserWallpapersTest : public ::testing::Test {
  protected:
    void install(const BundleContents &bundle) const {
        _wallpapers.install(
            bundle, [](std::uint64_t) {}, [] {});
    }

    std::vector<std::string> namesInFolder() const {
        std::vector<std::string> names;
        std::error_code error;
        for (const auto &entry : fs::directory_iterator(_path, error)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string petal() const { return contentsOf(_path + "/Sleet.bundle/d/petal.png"); }

    const TemporaryFolder _folder;
    const EnvironmentVariable _data{"XDG_DATA_HOME", _folder.path().c_str()};
    const std::string _path = Places::userWallpapersFolder();
    const UserWallpapers _wallpapers{_path};
};

TEST_F(UserWallpapersTest, TakeABundleInWithRightsThatAreTrusted) {
    const mode_t old = umask(0);
    install(bundleWith("one"));
    umask(old);
    EXPECT_EQ(petal(), "one");
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
    EXPECT_TRUE(_wallpapers.hasInstalled("Sleet.bundle"));
    EXPECT_NO_THROW(BundleFolder(_path + "/Sleet.bundle", BundleFolder::Trust::UserAndRoot));
}

TEST_F(UserWallpapersTest, TakeNoCodeWhereOthersMayWrite) {
    fs::create_directories(_path);
    fs::permissions(_folder.path(), fs::perms::all);
    EXPECT_NO_THROW(install(bundleWith("one")));
    const BundleContents code{
        "x",
        "Code.bundle",
        {{"description.plist",
          bytesIn(propertyList("<key>name Library</key><string>code.so</string>"))},
         {"code.so", bytesIn("code")}}};
    EXPECT_THAT(problemOf([&] { install(code); }), HasSubstr(_folder.path()));
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
}

TEST_F(UserWallpapersTest, ReplaceAnInstalledOneInOneStep) {
    install(bundleWith("one"));
    const int running = open((_path + "/Sleet.bundle").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    std::string whileReplaced;
    _wallpapers.install(
        bundleWith("two"), [this](std::uint64_t) { EXPECT_EQ(petal(), "one"); },
        [&] {
            whileReplaced = petal();
            // Who has opened the old folder still finds its files.
            EXPECT_EQ(faccessat(running, "d/petal.png", R_OK, 0), 0);
        });
    close(running);
    EXPECT_EQ(whileReplaced, "two");
    EXPECT_EQ(petal(), "two");
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
}

TEST_F(UserWallpapersTest, StayAsTheyWereAfterAnInterruption) {
    install(bundleWith("one"));
    EXPECT_EQ(problemOf([&] {
                  _wallpapers.install(
                      bundleWith("two"),
                      [](std::uint64_t bytes) {
                          if (bytes > 0) {
                              throw HostError("Sleet", "was stopped");
                          }
                      },
                      [] {});
              }),
              "Sleet: was stopped");
    EXPECT_EQ(petal(), "one");
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
}

TEST_F(UserWallpapersTest, LoseWhatAKilledInstallationHasLeft) {
    fs::create_directories(_path + "/.Sleet.bundle.0123.unfinished/d");
    install(bundleWith("one"));
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
}

TEST_F(UserWallpapersTest, KeepWhatThePersonHasPutThere) {
    fs::create_directories(_path + "/Sleet.bundle");
    const std::string words = "Sleet.bundle: is there already, and was not installed";
    EXPECT_THAT(problemOf([&] { _wallpapers.hasInstalled("Sleet.bundle"); }), HasSubstr(words));
    EXPECT_THAT(problemOf([&] { install(bundleWith("one")); }), HasSubstr(words));
    EXPECT_THAT(problemOf([&] { _wallpapers.uninstall("Sleet.bundle"); }),
                HasSubstr("was not installed by `lumivera install`"));
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
    EXPECT_TRUE(fs::is_empty(_path + "/Sleet.bundle"));
}

TEST_F(UserWallpapersTest, KeepACopyThatThePersonHasMade) {
    install(bundleWith("one"));
    fs::copy(_path + "/Sleet.bundle", _path + "/Mine.bundle", fs::copy_options::recursive);
    EXPECT_THROW(_wallpapers.uninstall("Mine.bundle"), HostError);
    EXPECT_THROW(install(bundleWith("two", "Mine.bundle")), HostError);
}

TEST_F(UserWallpapersTest, KeepWhatALinkLeadsTo) {
    const std::string outside = _folder.makeFolder("outside");
    _folder.write("outside/.lumivera-installed", "Sleet.bundle");
    fs::create_directories(_path);
    fs::create_directory_symlink(outside, _path + "/Sleet.bundle");
    EXPECT_THROW(_wallpapers.uninstall("Sleet.bundle"), HostError);
    EXPECT_THROW(install(bundleWith("one")), HostError);
    EXPECT_TRUE(fs::exists(outside + "/.lumivera-installed"));
}

TEST_F(UserWallpapersTest, TakeNoNameThatAnEarlierFolderHas) {
    EXPECT_THAT(
        problemOf([&] { install(bundleWith("one", "Lumivera.bundle")); }),
        HasSubstr("has that name, too, and would be shown instead; install it under another "
                  "name with --as NAME"));
    EXPECT_THAT(namesInFolder(), IsEmpty());
}

TEST_F(UserWallpapersTest, AreChangedByOneProgramAtATime) {
    install(bundleWith("one"));
    const int other = open(_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_THAT(problemOf([&] { install(bundleWith("two")); }),
                HasSubstr("another program installs into it just now; try again"));
    EXPECT_THROW(_wallpapers.uninstall("Sleet.bundle"), HostError);
    close(other);
    EXPECT_EQ(petal(), "one");
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
}

TEST_F(UserWallpapersTest, AreFoundByEveryNameOfTheirs) {
    install(bundleWith("one"));
    for (const std::string &name :
         {std::string("Sleet"), std::string("Sleet.bundle"), std::string("First Sleet"),
          _path + "/Sleet.bundle", _path + "/Sleet.bundle/"}) {
        EXPECT_EQ(_wallpapers.find(name), "Sleet.bundle") << name;
    }
    install(bundleWith("two", "Ice.bundle"));
    EXPECT_THAT(problemOf([&] { _wallpapers.find("First Sleet"); }),
                HasSubstr("is the name of several bundles; say which: Ice.bundle or Sleet.bundle"));
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("/"),
          std::string("./Sleet"), std::string("Lumivera"), std::string("/tmp/Sleet.bundle"),
          _path + "/None.bundle", _path + "/Sleet.bundle/d"}) {
        EXPECT_THAT(problemOf([&] { _wallpapers.find(name); }), HasSubstr("is no installed bundle"))
            << name;
    }
}

TEST_F(UserWallpapersTest, GiveAnInstalledOneUp) {
    install(bundleWith("one"));
    _wallpapers.uninstall("Sleet.bundle");
    EXPECT_THAT(namesInFolder(), IsEmpty());
}

TEST_F(UserWallpapersTest, StayAsTheyWereOnAFullDisk) {
    fs::create_directories(_path);
    if (mount("tmpfs", _path.c_str(), "tmpfs", 0, "size=256k") != 0) {
        GTEST_SKIP() << "needs the right to mount";
    }
    install(bundleWith("one"));
    const std::string problem = problemOf([&] { install(bundleWith(std::string(1 << 20, 'x'))); });
    EXPECT_THAT(problem, HasSubstr("d/petal.png: cannot be written: No space left on device"));
    EXPECT_EQ(petal(), "one");
    EXPECT_THAT(namesInFolder(), ElementsAre("Sleet.bundle"));
    EXPECT_EQ(umount(_path.c_str()), 0);
}

TEST_F(UserWallpapersTest, NeedAFolderThatCanBeMade) {
    _folder.write("lumivera", "a file in the way");
    EXPECT_THAT(problemOf([&] { install(bundleWith("one")); }), HasSubstr("cannot be"));
    EXPECT_THROW(_wallpapers.find("Sleet"), HostError);
    EXPECT_THROW(_wallpapers.uninstall("Sleet.bundle"), HostError);
}

} // namespace
