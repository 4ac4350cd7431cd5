#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/EnvironmentVariable.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class Recorder final : public ConfigurationFile::Listener {
  public:
    void configurationChanged(const Configuration &configuration) override {
        petals.push_back(configuration.choice().petals.value_or(0));
    }
    void configurationBroken(const std::string &problem) override { problems.push_back(problem); }

    std::vector<NSUInteger> petals;
    std::vector<std::string> problems;
};

class ConfigurationFileTest : public ::testing::Test {
  protected:
    void open(const std::string &name = "lumivera.toml") {
        _file = std::make_unique<ConfigurationFile>(_waiter, _folder.pathOf(name));
        _file->setListener(&_recorder);
    }

    bool hears(std::vector<NSUInteger> petals) {
        return serveUntil([&] { return _recorder.petals == petals; }, 20);
    }

    /// Serves longer than the host waits after the last change of a file.
    static void serveForAWhile() { NSRunLoop::mainRunLoop().runForSeconds(0.4); }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    Recorder _recorder;
    std::unique_ptr<ConfigurationFile> _file;
};

TEST_F(ConfigurationFileTest, IsEmptyWithoutAFile) {
    open("no/such/folder/lumivera.toml");
    EXPECT_EQ(_file->configuration(), Configuration());
    EXPECT_EQ(_file->problem(), "");
}

TEST_F(ConfigurationFileTest, ReadsTheFileThatIsThere) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    EXPECT_EQ(_file->configuration().choice().petals, 3U);
}

TEST_F(ConfigurationFileTest, LooksForWallpapersBesideTheFile) {
    _folder.write("lumivera.toml", "wallpaper = './My.bundle'");
    open();
    EXPECT_EQ(_file->configuration().choice().bundle, _folder.path() + "/./My.bundle");
}

TEST_F(ConfigurationFileTest, HearsThatTheFileIsWritten) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    _folder.write("lumivera.toml", "petals = 4");
    EXPECT_TRUE(hears({4}));
}

TEST_F(ConfigurationFileTest, HearsThatAnotherFileIsPutInItsPlace) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    for (NSUInteger petals = 4; petals < 7; ++petals) {
        _folder.write("new", "petals = " + std::to_string(petals));
        fs::rename(_folder.pathOf("new"), _folder.pathOf("lumivera.toml"));
        EXPECT_TRUE(serveUntil([&] { return _file->configuration().choice().petals == petals; }));
    }
    EXPECT_TRUE(hears({4, 5, 6}));
}

TEST_F(ConfigurationFileTest, IsEmptyWhenTheFileIsDeletedAndHearsOfTheNextOne) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    fs::remove(_folder.pathOf("lumivera.toml"));
    EXPECT_TRUE(hears({0}));
    _folder.write("lumivera.toml", "petals = 5");
    EXPECT_TRUE(hears({0, 5}));
}

TEST_F(ConfigurationFileTest, HearsOfFoldersThatComeLater) {
    open("a/b/lumivera.toml");
    _folder.makeFolder("a");
    serveForAWhile();
    _folder.makeFolder("a/b");
    serveForAWhile();
    _folder.write("a/b/lumivera.toml", "petals = 6");
    EXPECT_TRUE(hears({6}));
}

TEST_F(ConfigurationFileTest, HearsOfAFolderThatComesWithItsFile) {
    open("a/lumivera.toml");
    _folder.makeFolder("other");
    _folder.write("other/lumivera.toml", "petals = 6");
    fs::rename(_folder.pathOf("other"), _folder.pathOf("a"));
    EXPECT_TRUE(hears({6}));
}

TEST_F(ConfigurationFileTest, HearsOfAFolderThatGoesAndComesBack) {
    _folder.makeFolder("a");
    _folder.write("a/lumivera.toml", "petals = 6");
    open("a/lumivera.toml");
    fs::remove_all(_folder.pathOf("a"));
    EXPECT_TRUE(hears({0}));
    _folder.makeFolder("a");
    _folder.write("a/lumivera.toml", "petals = 7");
    EXPECT_TRUE(hears({0, 7}));
}

TEST_F(ConfigurationFileTest, FollowsWhatALinkLeadsTo) {
    _folder.makeFolder("elsewhere");
    const std::string target = _folder.write("elsewhere/mine.toml", "petals = 1");
    fs::create_symlink(target, _folder.pathOf("lumivera.toml"));
    open();
    EXPECT_EQ(_file->configuration().choice().petals, 1U);
    _folder.write("elsewhere/mine.toml", "petals = 2");
    EXPECT_TRUE(hears({2}));
}

TEST_F(ConfigurationFileTest, KeepsWhatItReadWhenTheFileBreaks) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    _folder.write("lumivera.toml", "petals = x");
    EXPECT_TRUE(serveUntil([&] { return _recorder.problems.size() == 1; }));
    EXPECT_THAT(_recorder.problems.front(), HasSubstr("lumivera.toml:1: "));
    EXPECT_EQ(_file->configuration().choice().petals, 3U);
    EXPECT_EQ(_file->problem(), _recorder.problems.front());
}

TEST_F(ConfigurationFileTest, TellsThatABrokenFileWasMendedEvenIfItSaysTheSame) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    _folder.write("lumivera.toml", "petals = x");
    EXPECT_TRUE(serveUntil([&] { return _recorder.problems.size() == 1; }));
    _folder.write("lumivera.toml", "petals = 3");
    EXPECT_TRUE(hears({3}));
    EXPECT_EQ(_file->problem(), "");
}

TEST_F(ConfigurationFileTest, SaysAtOnceThatTheFileIsBrokenFromTheBeginning) {
    _folder.write("lumivera.toml", "petals = x");
    open();
    EXPECT_THAT(_file->problem(), HasSubstr("lumivera.toml:1: "));
    EXPECT_EQ(_file->configuration(), Configuration());
}

TEST_F(ConfigurationFileTest, IsSilentWhenTheNewFileSaysTheSame) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    _folder.write("lumivera.toml", "petals = 3 # the same");
    serveForAWhile();
    _folder.write("lumivera.toml", "petals = 4");
    EXPECT_TRUE(hears({4}));
}

TEST_F(ConfigurationFileTest, DoesNotReadAFileThatIsBeingWritten) {
    open();
    const int file = ::open(_folder.pathOf("lumivera.toml").c_str(), O_CREAT | O_WRONLY, 0600);
    for (const char *part : {"pet", "als", " = ", "1", "2"}) {
        EXPECT_GT(write(file, part, std::strlen(part)), 0);
        NSRunLoop::mainRunLoop().runForSeconds(0.01);
    }
    close(file);
    EXPECT_TRUE(hears({12}));
    EXPECT_TRUE(_recorder.problems.empty());
}

TEST_F(ConfigurationFileTest, DoesNotReadForOtherFilesOfTheFolder) {
    _folder.write("lumivera.toml", "petals = 3");
    open();
    serveForAWhile();
    const auto calls = NSRunLoop::mainRunLoop().nextDeadline();
    _folder.write("other.toml", "petals = 4");
    NSRunLoop::mainRunLoop().runForSeconds(0.02);
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), calls);
}

TEST_F(ConfigurationFileTest, NamesAFolderInItsPlace) {
    _folder.makeFolder("lumivera.toml");
    open();
    EXPECT_THAT(_file->problem(), HasSubstr("lumivera.toml: is a folder; "));
}

TEST_F(ConfigurationFileTest, ReadsNoPipe) {
    mkfifo(_folder.pathOf("lumivera.toml").c_str(), 0600);
    open();
    EXPECT_THAT(_file->problem(), HasSubstr("lumivera.toml: is no regular file; "));
}

TEST_F(ConfigurationFileTest, NamesAFileThatIsTooLarge) {
    _folder.write("lumivera.toml", "");
    fs::resize_file(_folder.pathOf("lumivera.toml"), (1 << 20) + 1);
    open();
    EXPECT_THAT(_file->problem(), HasSubstr("is larger than 1 MiB"));
}

/// The files that any user may use, even when root runs the test.
class AnotherUsersEyes {
  public:
    AnotherUsersEyes() { setfsuid(geteuid() == 0 ? 65534 : geteuid()); }
    ~AnotherUsersEyes() { setfsuid(geteuid()); }
    AnotherUsersEyes(const AnotherUsersEyes &) = delete;
    AnotherUsersEyes &operator=(const AnotherUsersEyes &) = delete;
};

TEST_F(ConfigurationFileTest, NamesAFileThatMayNotBeRead) {
    const std::string path = _folder.write("lumivera.toml", "petals = 1");
    chmod(_folder.path().c_str(), 0755);
    chmod(path.c_str(), 0);
    {
        const AnotherUsersEyes eyes;
        open();
    }
    EXPECT_THAT(_file->problem(), HasSubstr("lumivera.toml: cannot be read; check its"));
}

TEST_F(ConfigurationFileTest, NamesAFileInAFolderThatMayNotBeEntered) {
    _folder.makeFolder("a");
    _folder.write("a/lumivera.toml", "petals = 1");
    chmod(_folder.path().c_str(), 0755);
    chmod(_folder.pathOf("a").c_str(), 0);
    {
        const AnotherUsersEyes eyes;
        open("a/lumivera.toml");
    }
    EXPECT_THAT(_file->problem(), HasSubstr("lumivera.toml: cannot be read: Permission denied"));
    chmod(_folder.pathOf("a").c_str(), 0700);
}

TEST_F(ConfigurationFileTest, PutsAWallpaperIntoAFileAndKeepsTheRest) {
    const std::string path = _folder.write("lumivera.toml", "# mine\npetals = 1\n");
    chmod(path.c_str(), 0640);
    ConfigurationFile::setWallpaper(path, "/w");
    EXPECT_EQ(contentsOf(path), "wallpaper = \"/w\"\n# mine\npetals = 1\n");
    struct stat status;
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(ConfigurationFileTest, MakesTheFileAndItsFolderForAWallpaper) {
    const std::string path = _folder.pathOf("a/b/lumivera.toml");
    ConfigurationFile::setWallpaper(path, "Maple");
    EXPECT_EQ(ConfigurationFile::read(path).choice().bundle, "Maple");
}

TEST_F(ConfigurationFileTest, PutsNoWallpaperIntoABrokenFile) {
    const std::string path = _folder.write("lumivera.toml", "petals = x\n");
    EXPECT_THROW(ConfigurationFile::setWallpaper(path, "/w"), HostError);
    EXPECT_EQ(contentsOf(path), "petals = x\n");
}

TEST_F(ConfigurationFileTest, HearsOfTheWallpaperThatItIsGiven) {
    open();
    ConfigurationFile::setWallpaper(_file->path(), "/w");
    EXPECT_TRUE(serveUntil([&] { return _file->configuration().choice().bundle == "/w"; }));
}

TEST(ConfigurationFilePath, IsInTheUsersFolderForConfigurations) {
    const EnvironmentVariable home("HOME", "/h");
    {
        const EnvironmentVariable folder("XDG_CONFIG_HOME", "/c");
        EXPECT_EQ(ConfigurationFile::standardPath(), "/c/lumivera/lumivera.toml");
    }
    {
        const EnvironmentVariable folder("XDG_CONFIG_HOME", nullptr);
        EXPECT_EQ(ConfigurationFile::standardPath(), "/h/.config/lumivera/lumivera.toml");
    }
    const EnvironmentVariable folder("XDG_CONFIG_HOME", "relative");
    EXPECT_EQ(ConfigurationFile::standardPath(), "/h/.config/lumivera/lumivera.toml");
}

} // namespace
