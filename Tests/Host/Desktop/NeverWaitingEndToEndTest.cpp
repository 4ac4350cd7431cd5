#include "Tests/Host/Desktop/DesktopProgramTest.h"
#include "Tests/Host/Support/DeadFileSystem.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

/// The host beside files, pipes and file systems that do not answer.
class NeverWaitingEndToEndTest : public DesktopProgramTest {
  protected:
    void expectShown() {
        EXPECT_TRUE(statusBecomes([](json output) {
            return output["bundle"] == shippedBundle("Lumivera.bundle");
        })) << log();
    }

    std::string makePipe(const std::string &name) const {
        const std::string path = _folder.pathOf(name);
        fs::create_directories(fs::path(path).parent_path());
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    /// A copy of the shipped bundle in which a pipe has the place of a file.
    std::string bundleWithPipe(const std::string &file) const {
        const std::string bundle = copyOfShippedBundle(folder());
        fs::remove(bundle + "/" + file);
        EXPECT_EQ(mkfifo((bundle + "/" + file).c_str(), 0600), 0);
        return bundle;
    }
};

TEST_F(NeverWaitingEndToEndTest, RefusesAScreenshotIntoAPipeAndEndsAtTheFirstSignal) {
    const std::string pipe = makePipe("pipe.png");
    startHeadless({});
    expectShown();
    const ProgramRun screenshot = ctl({"screenshot", pipe});
    EXPECT_EQ(screenshot.status(), 1);
    EXPECT_THAT(screenshot.errors(), HasSubstr("pipe.png: is no regular file"));
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(ctl({"screenshot", pipe}).status(), 1) << "even when somebody reads from it";
    close(reader);
    expectShown();
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(NeverWaitingEndToEndTest, TakesAPipeForABrokenConfiguration) {
    makePipe("config/lumivera/lumivera.toml");
    startHeadless({});
    expectShown();
    EXPECT_THAT(log(), HasSubstr("lumivera.toml: is no regular file"));
    EXPECT_EQ(quit(), 0);
}

TEST_F(NeverWaitingEndToEndTest, ReadsNoPipeInPlaceOfItsLastGoodBundle) {
    makePipe("state/lumivera/last-good");
    startHeadless({});
    expectShown();
    EXPECT_EQ(quit(), 0);
}

TEST_F(NeverWaitingEndToEndTest, ShowsTheShippedWallpaperForOneWithAPipeInIt) {
    for (const char *file :
         {"description.plist", "lumivera_petal1.png", "libLumiveraLiveWallpaper.dylib"}) {
        const std::string bundle = bundleWithPipe(file);
        startHeadless({bundle});
        expectShown();
        EXPECT_THAT(log(), HasSubstr(std::string(file) + ": is neither a file nor a folder"));
        EXPECT_EQ(quit(), 0);
        fs::remove_all(bundle);
    }
}

TEST_F(NeverWaitingEndToEndTest, DoesNotWaitForAReaderOfItsLog) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string full(65536, 'x');
    while (write(ends[1], full.data(), full.size()) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    startWithLog({"--display", "headless", folder() + "/None.bundle"}, ends[1]);
    expectShown();
    EXPECT_EQ(quit(), 0);
    close(ends[0]);
    close(ends[1]);
}

class DeadFilesEndToEndTest : public NeverWaitingEndToEndTest {
  protected:
    void SetUp() override {
        _dead.emplace(_folder.makeFolder("dead"));
        if (!_dead->problem().empty()) {
            GTEST_SKIP() << _dead->problem();
        }
#ifdef __SANITIZE_ADDRESS__
        // The search for leaks stops all threads first, and waits for ever for one that waits for
        // the file system.
        const char *options = std::getenv("ASAN_OPTIONS");
        const std::string more = std::string(options ? options : "") + ":detect_leaks=0";
        setenv("ASAN_OPTIONS", more.c_str(), 1);
#endif
    }

    /// The file system comes to an end first, because the test's own cleaning-up would wait.
    void TearDown() override {
        DesktopProgramTest::TearDown();
        _dead.reset();
    }

    std::string pathOf(const std::string &name) const { return _dead->pathOf(name); }

  private:
    std::optional<DeadFileSystem> _dead;
};

TEST_F(DeadFilesEndToEndTest, BeginsWithoutAConfigurationThatDoesNotAnswer) {
    startHeadless({"--config", pathOf("lumivera.toml")});
    expectShown();
    EXPECT_THAT(log(), HasSubstr("lumivera.toml: cannot be read: the file system does not answer"));
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(DeadFilesEndToEndTest, AnswersWhileAScreenshotCannotBeWritten) {
    startHeadless({});
    expectShown();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 6; ++i) {
        const ProgramRun screenshot = ctl({"screenshot", pathOf("x.png")});
        EXPECT_EQ(screenshot.status(), 1);
        EXPECT_THAT(screenshot.errors(),
                    HasSubstr("x.png: cannot be written: the file system does not answer"));
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    RecordProperty("seconds", std::to_string(time.count()));
    expectShown();
    EXPECT_EQ(end(SIGTERM), 0);
}

TEST_F(DeadFilesEndToEndTest, ShowsAnotherWallpaperForOneThatDoesNotAnswer) {
    startHeadless({pathOf("W.bundle")});
    expectShown();
    EXPECT_EQ(ctl({"pause"}).status(), 0);
    EXPECT_EQ(end(SIGTERM), 0);
}

} // namespace
