#include "Tests/Host/Desktop/DesktopProgramTest.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

/// The host with a bundle that it should not run.
class TrustEndToEndTest : public DesktopProgramTest {
  protected:
    void expectShown(const std::string &bundle) {
        EXPECT_TRUE(statusBecomes([&](json output) { return output["bundle"] == bundle; }))
            << log();
    }

    /// The host shows the shipped wallpaper, and its log says why.
    void expectRefused(const std::string &bundle, const std::string &words) {
        startHeadless({bundle});
        expectShown(shippedBundle("Lumivera.bundle"));
        EXPECT_THAT(log(), HasSubstr(words));
        EXPECT_EQ(quit(), 0);
    }
};

TEST_F(TrustEndToEndTest, RunsNoBundleThatOthersCouldExchange) {
    const std::string shared = _folder.makeFolder("shared");
    const std::string bundle = testBundle(shared, "TinyWallpaper");
    chmod(shared.c_str(), 0777);
    expectRefused(bundle, shared + ": can be written by others");
    startHeadless({"--trust", bundle});
    expectShown(bundle);
    EXPECT_EQ(quit(), 0);
    chmod(shared.c_str(), 01777);
    startHeadless({bundle});
    expectShown(bundle);
}

TEST_F(TrustEndToEndTest, RunsABundleOfPicturesWhoeverMayWriteThem) {
    const std::string shared = _folder.makeFolder("shared");
    const std::string bundle = copyOfShippedBundle(shared);
    chmod(shared.c_str(), 0777);
    startHeadless({bundle});
    expectShown(bundle);
    EXPECT_EQ(quit(), 0);
    const ProgramRun run({"render", bundle, "--trace", "/dev/null", "--frames", "1"});
    EXPECT_EQ(run.status(), 0) << run.errors();
}

TEST_F(TrustEndToEndTest, RefusesALinkThatWouldWidenTheSandbox) {
    const std::string secret = _folder.write("secret", "key");
    const std::string bundle = copyOfShippedBundle(folder());
    fs::create_symlink("../secret", bundle + "/picture.png");
    expectRefused(bundle, bundle + "/picture.png: is a link, which a bundle may not have; put a "
                                   "copy of the file in its place");
    fs::remove(bundle + "/picture.png");
    startHeadless({bundle});
    expectShown(bundle);
    EXPECT_EQ(quit(), 0);
    fs::create_directory_symlink(".", folder() + "/Link.bundle");
    expectRefused(folder() + "/Link.bundle", "Link.bundle: is a link, not a bundle");
}

TEST_F(TrustEndToEndTest, RefusesALibraryThatIsNotInTheBundle) {
    for (const char *name : {"../test.so", "$ORIGIN/test.so", "$LIB", "/usr/lib/test.so", "a/b"}) {
        const std::string bundle = bundleWithDescription(
            folder(),
            propertyList(std::string("<key>name Library</key><string>") + name + "</string>"));
        expectRefused(bundle, "no plain file name");
        const ProgramRun run({"render", bundle, "--trace", "/dev/null", "--frames", "1"});
        EXPECT_EQ(run.status(), 1);
        EXPECT_THAT(run.errors(), HasSubstr("no plain file name"));
    }
}

TEST_F(TrustEndToEndTest, BringsAHelperLibraryInTheBundle) {
    const std::string bundle = testBundle(folder(), "BorrowingWallpaper");
    fs::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libTinyWallpaper.so",
                  bundle + "/libTinyWallpaper.so");
    startHeadless({bundle});
    expectShown(bundle);
    EXPECT_EQ(quit(), 0);
    chmod((bundle + "/libTinyWallpaper.so").c_str(), 0777);
    expectRefused(bundle, "libTinyWallpaper.so: can be written by others");
}

TEST_F(TrustEndToEndTest, LogsTheNameOfABundleSoThatATerminalObeysNothing) {
    const std::string bundle =
        _folder.makeFolder("x\x1b[2J\nlumivera: all is well\u202e\u009b.bundle");
    startHeadless({bundle});
    expectShown(shippedBundle("Lumivera.bundle"));
    EXPECT_THAT(log(), AllOf(HasSubstr("x\\x1b[2J\\nlumivera: all is well\\u202e\\x9b.bundle"),
                             Not(HasSubstr("\x1b")), Not(HasSubstr("\u202e")),
                             Not(HasSubstr("\nlumivera: all is well"))));
    const ProgramRun answer = ctl({"status", "--json"});
    EXPECT_THAT(answer.output(), Not(HasSubstr("\u202e")));
    EXPECT_EQ(json::parse(answer.output())["outputs"][0]["failedBundle"], bundle);
}

TEST_F(TrustEndToEndTest, TellsOfLinksInListsAndOfUntrustedFoldersInTheDoctor) {
    const std::string data = _folder.makeFolder("data");
    fs::create_directories(data + "/lumivera/wallpapers");
    const std::string bundle = testBundle(data + "/lumivera/wallpapers", "TinyWallpaper");
    ProgramRun::Options options;
    options.environment = {"XDG_DATA_HOME=" + data, "XDG_RUNTIME_DIR=" + folder()};
    chmod((data + "/lumivera").c_str(), 0777);
    EXPECT_THAT(ProgramRun({"doctor"}, options).output(),
                HasSubstr(data + "/lumivera: can be written by others"));
    fs::create_symlink("/etc/passwd", bundle + "/a.png");
    EXPECT_THAT(ProgramRun({"list"}, options).output(), HasSubstr("a.png: is a link"));
}

} // namespace
