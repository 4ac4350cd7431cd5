#include "Host/Wallpapers/BundleFolder.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Lumivera;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using Trust = BundleFolder::Trust;

constexpr uid_t kAnotherUser = 65534;

class BundleFolderTest : public ::testing::Test {
  protected:
    BundleFolderTest() : _path(_folder.makeFolder("above")) {
        _path = fs::canonical(_path).string() + "/W.bundle";
        fs::create_directory(_path);
        _folder.write("above/W.bundle/w.so", "library");
        _folder.write("above/W.bundle/description.plist", "description");
    }

    static std::string problemOf(const std::string &path, Trust trust) {
        try {
            const BundleFolder folder(path, trust);
        } catch (const HostError &error) {
            return error.what();
        }
        return {};
    }

    static std::string problemOfLibrary(const std::string &path, Trust trust) {
        try {
            const BundleFolder folder(path, trust);
            close(folder.openLibrary("w.so"));
        } catch (const HostError &error) {
            return error.what();
        }
        return {};
    }

    std::string above() const { return fs::path(_path).parent_path().string(); }

    TemporaryFolder _folder;
    std::string _path;
};

TEST_F(BundleFolderTest, IsFineAsItIs) {
    EXPECT_EQ(problemOf(_path, Trust::UserAndRoot), "");
    EXPECT_EQ(problemOfLibrary(_path, Trust::UserAndRoot), "");
}

TEST_F(BundleFolderTest, HasAnAbsolutePathWithoutLinks) {
    fs::create_directory_symlink("above", _folder.pathOf("link"));
    for (const std::string &path : {_path + "//", _folder.pathOf("link/W.bundle"),
                                    _folder.pathOf("link/../above/./W.bundle")}) {
        EXPECT_EQ(BundleFolder(path, Trust::UserAndRoot).path(), _path) << path;
    }
}

TEST_F(BundleFolderTest, IsFoundFromTheCurrentFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(above());
    EXPECT_EQ(BundleFolder("W.bundle", Trust::Anybody).path(), _path);
    fs::current_path(_path);
    EXPECT_EQ(BundleFolder(".", Trust::Anybody).path(), _path);
    EXPECT_EQ(BundleFolder("./", Trust::Anybody).path(), _path);
    fs::create_directory("inner");
    fs::current_path("inner");
    EXPECT_EQ(BundleFolder("..", Trust::Anybody).path(), _path);
    fs::current_path(before);
}

TEST_F(BundleFolderTest, IsMissingWhereThereIsNone) {
    for (const std::string &path : {_folder.pathOf("none"), _folder.pathOf("none/none"),
                                    std::string(), std::string("/none"), _path + "/w.so/x"}) {
        EXPECT_THAT(problemOf(path, Trust::Anybody), HasSubstr("there is no such bundle")) << path;
    }
    EXPECT_THAT(problemOf(_path + "/w.so", Trust::Anybody), HasSubstr("is a file, not a bundle"));
}

TEST_F(BundleFolderTest, RefusesABundleThatIsALink) {
    fs::create_directory_symlink(".", above() + "/Link.bundle");
    fs::create_directory_symlink(_path, above() + "/Other.bundle");
    for (const Trust trust : {Trust::Anybody, Trust::UserAndRoot}) {
        for (const char *name : {"/Link.bundle", "/Link.bundle/", "/Other.bundle"}) {
            EXPECT_THAT(problemOf(above() + name, trust),
                        AllOf(HasSubstr(".bundle: is a link, not a bundle; "),
                              HasSubstr("put a copy of that in its place")));
        }
    }
}

TEST_F(BundleFolderTest, RefusesALinkAnywhereInIt) {
    fs::create_directories(_path + "/a/b");
    for (const char *name : {"/petal.png", "/description2.plist", "/a/b/deep.png", "/a/folder"}) {
        for (const char *target : {"/etc/passwd", "w.so", "nowhere", "/"}) {
            fs::create_symlink(target, _path + name);
            EXPECT_THAT(problemOf(_path, Trust::Anybody),
                        AllOf(HasSubstr(_path + name + ": is a link"), HasSubstr("`cp -rL`")));
            fs::remove(_path + name);
        }
    }
    EXPECT_EQ(problemOf(_path, Trust::Anybody), "");
}

TEST_F(BundleFolderTest, TakesALinkForTheLibraryOfTheProgramItselfWhereverItLeads) {
    const char *const name = "libLumiveraLiveWallpaper.dylib";
    for (const char *target :
         {"/etc/passwd", "nowhere", "/usr/lib/libLumiveraLiveWallpaper.dylib"}) {
        fs::create_symlink(target, _path + "/" + name);
        const BundleFolder folder(_path, Trust::UserAndRoot);
        EXPECT_TRUE(folder.standsForOwnLibrary(name));
        EXPECT_FALSE(folder.hasFile(name));
        EXPECT_THROW(folder.openLibrary(name), HostError);
        fs::remove(_path + "/" + name);
    }
    EXPECT_TRUE(BundleFolder(_path, Trust::UserAndRoot).standsForOwnLibrary(name));
    _folder.write("above/W.bundle/" + std::string(name), "a file of that name");
    EXPECT_FALSE(BundleFolder(_path, Trust::UserAndRoot).standsForOwnLibrary(name));
    fs::create_directory(_path + "/inner");
    fs::create_symlink("/etc/passwd", _path + "/inner/" + name);
    EXPECT_THAT(problemOf(_path, Trust::Anybody), HasSubstr("is a link"));
}

TEST_F(BundleFolderTest, RefusesPipesAndSockets) {
    ASSERT_EQ(mkfifo((_path + "/petal.png").c_str(), 0600), 0);
    EXPECT_THAT(problemOf(_path, Trust::Anybody),
                HasSubstr("petal.png: is neither a file nor a folder"));
}

TEST_F(BundleFolderTest, RefusesFoldersWithoutEnd) {
    std::string path = _path;
    for (std::size_t i = 0; i < BundleFolder::kMaxDepth + 2; ++i) {
        path += "/d";
        fs::create_directory(path);
    }
    EXPECT_THAT(problemOf(_path, Trust::Anybody), HasSubstr("holds more files or folders"));
}

TEST_F(BundleFolderTest, TrustsNoFolderAboveThatOthersMayWrite) {
    for (const mode_t mode : {0775U, 0757U, 0777U}) {
        chmod(above().c_str(), mode);
        EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                    HasSubstr(above() + ": can be written by others"));
        EXPECT_EQ(problemOfLibrary(_path, Trust::Anybody), "");
    }
    chmod(above().c_str(), 0755);
    chmod(_folder.path().c_str(), 0777);
    EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot), HasSubstr("can be written by others"));
}

TEST_F(BundleFolderTest, TrustsAFolderAboveInWhichOthersCannotRenameWhatIsOurs) {
    chmod(above().c_str(), 01777);
    EXPECT_EQ(problemOfLibrary(_path, Trust::UserAndRoot), "");
    chmod(above().c_str(), 0755);
    chmod(_path.c_str(), 01777);
    EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                HasSubstr("W.bundle: can be written by others"))
        << "files could be added to it";
}

TEST_F(BundleFolderTest, TrustsNoLibraryThatOthersMayWrite) {
    chmod((_path + "/w.so").c_str(), 0664);
    EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                HasSubstr("w.so: can be written by others"));
    EXPECT_EQ(problemOfLibrary(_path, Trust::Anybody), "");
    EXPECT_EQ(problemOf(_path, Trust::UserAndRoot), "") << "a picture may be written by a group";
}

TEST_F(BundleFolderTest, TrustsNobodyElse) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    for (const std::string &path : {above(), _path}) {
        ASSERT_EQ(chown(path.c_str(), kAnotherUser, 0), 0);
        EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                    HasSubstr(path + ": belongs to another user"));
        EXPECT_EQ(problemOfLibrary(_path, Trust::Anybody), "");
        ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    }
    ASSERT_EQ(chown((_path + "/w.so").c_str(), kAnotherUser, 0), 0);
    EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                HasSubstr("w.so: belongs to another user"));
}

TEST_F(BundleFolderTest, NeedsNoTrustForPicturesAlone) {
    chmod(above().c_str(), 0777);
    chmod(_path.c_str(), 0777);
    EXPECT_EQ(problemOf(_path, Trust::UserAndRoot), "");
    EXPECT_THAT(problemOfLibrary(_path, Trust::UserAndRoot),
                HasSubstr(above() + ": can be written by others"));
}

TEST_F(BundleFolderTest, IsNotTrustedMoreWhenItMoves) {
    chmod(above().c_str(), 0777);
    BundleFolder folder(_path, Trust::UserAndRoot);
    const BundleFolder moved(std::move(folder));
    EXPECT_THROW(moved.openLibrary("w.so"), HostError);
}

TEST_F(BundleFolderTest, OpensOnlyTheFilesThatItHasSeen) {
    const BundleFolder folder(_path, Trust::UserAndRoot);
    _folder.write("above/W.bundle/new.so", "later");
    EXPECT_THROW(folder.openLibrary("new.so"), HostError);
    fs::rename(_path + "/new.so", _path + "/w.so");
    EXPECT_THROW(folder.openLibrary("w.so"), HostError);
    fs::remove(_path + "/w.so");
    fs::create_symlink("description.plist", _path + "/w.so");
    EXPECT_THROW(folder.openLibrary("w.so"), HostError);
    fs::remove(_path + "/w.so");
    ASSERT_EQ(mkfifo((_path + "/w.so").c_str(), 0600), 0);
    EXPECT_THROW(folder.openLibrary("w.so"), HostError);
}

TEST_F(BundleFolderTest, StaysTheFolderThatWasCheckedWhenAnotherTakesItsName) {
    const BundleFolder folder(_path, Trust::UserAndRoot);
    fs::rename(_path, above() + "/old");
    fs::create_directory(_path);
    _folder.write("above/W.bundle/w.so", "another");
    const int file = folder.openLibrary("w.so");
    char text[16] = {};
    EXPECT_EQ(read(file, text, sizeof text), 7);
    EXPECT_STREQ(text, "library");
    close(file);
}

} // namespace
