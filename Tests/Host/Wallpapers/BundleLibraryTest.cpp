#include "Host/Wallpapers/BundleLibrary.h"

#include "Host/Support/HostError.h"
#include "Lumivera/Interface.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Wallpapers/MadeLibrary.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using Trust = BundleFolder::Trust;

constexpr const char *kLibraries = LUMIVERA_BUILD_DIR "/lib/test-wallpapers/lib";

class BundleLibraryTest : public ::testing::Test {
  protected:
    BundleLibraryTest() : _path(fs::canonical(_folder.path()).string() + "/W.bundle") {
        fs::create_directory(_path);
    }

    void put(const std::string &wallpaper, const std::string &name) const {
        fs::copy_file(kLibraries + wallpaper + ".so", _path + "/" + name,
                      fs::copy_options::overwrite_existing);
    }

    void make(const std::string &name, const std::vector<std::string> &needs,
              const std::string &folders) const {
        _folder.write("W.bundle/" + name, madeLibrary(needs, folders));
    }

    /// Opens the library but does not load it.
    std::string problemOf(const std::string &name, Trust trust = Trust::UserAndRoot) const {
        try {
            const BundleFolder folder(_path, trust);
            const BundleLibrary library(folder, name);
        } catch (const HostError &error) {
            return error.what();
        }
        return {};
    }

    /// Loads it in a child process, because libraries stay loaded. Returns the problem; empty when
    /// the library has the entry point.
    std::string loading(
        const std::string &name, Trust trust,
        const std::function<void()> &meanwhile = [] {}) const {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            std::string text;
            try {
                BundleFolder folder(_path, trust);
                BundleLibrary library(folder, name);
                folder.close();
                meanwhile();
                text = dlsym(library.load(), "getDeskTopViewInstance") ? "" : "no entry point";
            } catch (const HostError &error) {
                text = error.what();
            }
            _exit(write(ends[1], text.data(), text.size()) < 0);
        }
        close(ends[1]);
        std::string text(8192, '\0');
        const ssize_t count = read(ends[0], text.data(), text.size());
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        close(ends[0]);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << text;
        return text;
    }

    TemporaryFolder _folder;
    const std::string _path;
};

TEST_F(BundleLibraryTest, IsLoadedWhetherOrNotItMustBeTrusted) {
    put("TinyWallpaper", "w.so");
    EXPECT_EQ(loading("w.so", Trust::Anybody), "");
    EXPECT_EQ(loading("w.so", Trust::UserAndRoot), "");
}

TEST_F(BundleLibraryTest, IsTheFileThatWasCheckedWhenAnotherTakesItsName) {
    put("TinyWallpaper", "w.so");
    put("NoEntryPoint", "other.so");
    EXPECT_EQ(loading("w.so", Trust::UserAndRoot,
                      [&] { fs::rename(_path + "/other.so", _path + "/w.so"); }),
              "");
    EXPECT_EQ(loading("w.so", Trust::UserAndRoot), "no entry point");
}

TEST_F(BundleLibraryTest, BringsALibraryThatItNeedsInTheBundle) {
    put("BorrowingWallpaper", "w.so");
    put("TinyWallpaper", "libTinyWallpaper.so");
    EXPECT_EQ(loading("w.so", Trust::UserAndRoot), "");
}

TEST_F(BundleLibraryTest, NeedsALibraryInTheBundleToBeTrustedAsWell) {
    put("BorrowingWallpaper", "w.so");
    put("TinyWallpaper", "libTinyWallpaper.so");
    chmod((_path + "/libTinyWallpaper.so").c_str(), 0775);
    EXPECT_THAT(loading("w.so", Trust::UserAndRoot),
                HasSubstr("libTinyWallpaper.so: can be written by others"));
    EXPECT_EQ(loading("w.so", Trust::Anybody), "");
}

TEST_F(BundleLibraryTest, FindsNoLibraryInTheFolderAboveTheBundle) {
    put("BorrowingWallpaper", "w.so");
    fs::copy_file(std::string(kLibraries) + "TinyWallpaper.so",
                  _folder.pathOf("libTinyWallpaper.so"));
    EXPECT_THAT(
        loading("w.so", Trust::UserAndRoot),
        AllOf(HasSubstr(_path + "/w.so: cannot be loaded"), HasSubstr("libTinyWallpaper.so")));
}

TEST_F(BundleLibraryTest, IsMadeForThisInterfaceOfTheKitOrDoesNotTell) {
    put("KitWallpaper", "w.so");
    EXPECT_EQ(loading("w.so", Trust::UserAndRoot), "");
    put("FutureWallpaper", "future.so");
    for (const Trust trust : {Trust::Anybody, Trust::UserAndRoot}) {
        EXPECT_EQ(problemOf("future.so", trust),
                  _path + "/future.so: is made for interface 999 of the wallpaper kit, and this "
                          "program has interface " LUMIVERA_TEXT_OF(
                              LUMIVERA_INTERFACE) "; install a newer lumivera, or build it with "
                                                  "this one's kit");
    }
    const std::string note = madeNote(std::string("Lumivera", 9), 1, std::string(4, '\0'));
    _folder.write("W.bundle/old.so", madeLibrary({}, "", DT_RUNPATH, note));
    EXPECT_THAT(problemOf("old.so"), AllOf(HasSubstr("is made for interface 0 of"),
                                           HasSubstr("; build it again with this program's kit")));
}

TEST_F(BundleLibraryTest, NamesTheFileThatCannotBeLoaded) {
    _folder.write("W.bundle/w.so", "this is no library at all");
    for (const Trust trust : {Trust::Anybody, Trust::UserAndRoot}) {
        const std::string problem = loading("w.so", trust);
        EXPECT_THAT(problem, HasSubstr(_path + "/w.so: cannot be loaded: " + _path + "/w.so: "));
    }
}

TEST_F(BundleLibraryTest, IsTheProgramsOwnWhereALinkStandsForIt) {
    const std::string name = "libLumiveraLiveWallpaper.dylib";
    fs::create_symlink("/nowhere/" + name, _path + "/" + name);
    EXPECT_EQ(loading(name, Trust::UserAndRoot), "");
    EXPECT_EQ(loading(name, Trust::Anybody), "");
}

TEST_F(BundleLibraryTest, IsTheProgramsOwnForABundleOfPicturesWhoeverMayWriteThem) {
    chmod(_path.c_str(), 0777);
    EXPECT_EQ(loading("", Trust::UserAndRoot), "");
    EXPECT_EQ(loading("", Trust::Anybody), "");
    put("NoEntryPoint", "libLumiveraLiveWallpaper.dylib");
    EXPECT_EQ(loading("", Trust::UserAndRoot), "") << "one in the bundle is not looked at";
}

TEST_F(BundleLibraryTest, HasAPlainName) {
    for (const char *name : {"../w.so", "a/w.so", "/usr/lib/w.so", "$LIB", "$ORIGIN", "w$.so",
                             "${PLATFORM}", ".", ".."}) {
        EXPECT_THROW(BundleLibrary::checkName(name, "d"), HostError) << name;
    }
    for (const char *name : {"w.so", "libLumiveraLiveWallpaper.dylib", "...", "w w.so"}) {
        EXPECT_NO_THROW(BundleLibrary::checkName(name, "d")) << name;
    }
}

TEST_F(BundleLibraryTest, LooksForOthersInTheBundleAndTheSystemAlone) {
    for (const char *folders :
         {"", "$ORIGIN", "${ORIGIN}/", "/usr/lib/x", "/lib64", "$ORIGIN:/usr/local/lib",
          "$ORIGIN/..", LUMIVERA_BUILD_DIR "/lib/test-wallpapers"}) {
        make("w.so", {"libnone.so"}, folders);
        EXPECT_EQ(problemOf("w.so"), "") << folders;
    }
    for (const char *folders : {"/tmp", "/home/maker/build", "lib", ":", "/usr/../tmp", "/usrlib",
                                "/usr/lib:/tmp", "$LIB", "/usr/lib/../../tmp"}) {
        make("w.so", {"libnone.so"}, folders);
        EXPECT_THAT(problemOf("w.so"), HasSubstr("w.so: looks for libraries in ")) << folders;
        EXPECT_EQ(problemOf("w.so", Trust::Anybody), "") << folders;
    }
}

TEST_F(BundleLibraryTest, MayNameAnyFolderWhenAllThatItNeedsIsThere) {
    make("w.so", {"libc.so.6", "libLumiveraPlatform.so." LUMIVERA_TEXT_OF(LUMIVERA_INTERFACE)},
         "/home/maker/build");
    EXPECT_EQ(problemOf("w.so"), "");
    make("w.so", {"libhelper.so"}, "$ORIGIN:/home/maker/build");
    make("libhelper.so", {}, "");
    EXPECT_EQ(problemOf("w.so"), "");
}

TEST_F(BundleLibraryTest, NeedsNoLibraryByItsPath) {
    make("w.so", {"/tmp/libhelper.so"}, "");
    EXPECT_THAT(problemOf("w.so"), HasSubstr("needs the library /tmp/libhelper.so by its path"));
}

TEST_F(BundleLibraryTest, MayNeedOneThatNeedsIt) {
    make("w.so", {"libhelper.so"}, "$ORIGIN");
    make("libhelper.so", {"w.so", "libhelper.so"}, "$ORIGIN");
    EXPECT_EQ(problemOf("w.so"), "");
}

TEST_F(BundleLibraryTest, ChecksWhatItsHelpersNeed) {
    make("w.so", {"libhelper.so"}, "$ORIGIN");
    make("libhelper.so", {"libnone.so"}, "/tmp");
    EXPECT_THAT(problemOf("w.so"), HasSubstr("libhelper.so: looks for libraries in /tmp"));
}

} // namespace
