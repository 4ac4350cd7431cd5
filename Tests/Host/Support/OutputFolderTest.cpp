#include "Host/Support/OutputFolder.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using Existing = OutputFolder::Existing;

const std::vector<std::uint8_t> kBytes{'n', 'e', 'w'};

class OutputFolderTest : public ::testing::Test {
  protected:
    std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(_folder.path()), fs::directory_iterator()));
    }

    static std::string problemOf(const std::string &path, Existing existing = Existing::Refused) {
        try {
            OutputFolder(path, existing).commit();
        } catch (const HostError &error) {
            return error.what();
        }
        return {};
    }

    TemporaryFolder _folder;
    const std::string _path = _folder.pathOf("a b.bundle");
};

TEST_F(OutputFolderTest, AppearsWithItsFilesWhenItIsCommitted) {
    OutputFolder folder(_path + "//", Existing::Refused);
    folder.write("file", kBytes);
    EXPECT_FALSE(fs::exists(_path));
    EXPECT_EQ(contentsOf(folder.partPath() + "/file"), "new");
    folder.commit();
    EXPECT_EQ(contentsOf(_path + "/file"), "new");
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFolderTest, LeavesNothingBehindWithoutACommit) {
    {
        const OutputFolder folder(_path, Existing::Refused);
        folder.write("first", kBytes);
        folder.write("second", kBytes);
    }
    EXPECT_EQ(entries(), 0u);
}

TEST_F(OutputFolderTest, LeavesNothingBehindWhenASignalEndsTheProcess) {
    const pid_t child = fork();
    if (child == 0) {
        prepareSignals();
        const OutputFolder folder(_path, Existing::Refused);
        for (int i = 0; i < 300; ++i) {
            folder.write("a file with a long name, number " + std::to_string(i), kBytes);
        }
        raise(SIGTERM);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(entries(), 0u);
}

TEST_F(OutputFolderTest, RefusesANameThatIsTaken) {
    _folder.write("a b.bundle", "a file");
    EXPECT_THAT(problemOf(_path), HasSubstr("a b.bundle: is there already"));
    EXPECT_EQ(contentsOf(_path), "a file");
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFolderTest, RefusesANameThatIsTakenMeanwhile) {
    OutputFolder folder(_path, Existing::Refused);
    fs::create_directory(_path);
    EXPECT_THROW(folder.commit(), HostError);
}

TEST_F(OutputFolderTest, ReplacesAFolderWithAllThatIsInIt) {
    fs::create_directories(_path + "/inner/deep");
    OutputFolder folder(_path, Existing::Replaced);
    folder.write("file", kBytes);
    EXPECT_TRUE(fs::exists(_path + "/inner/deep"));
    folder.commit();
    EXPECT_EQ(contentsOf(_path + "/file"), "new");
    EXPECT_FALSE(fs::exists(_path + "/inner"));
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFolderTest, KeepsAFolderThatIsMadeMeanwhile) {
    {
        OutputFolder folder(_path, Existing::Kept);
        folder.write("file", kBytes);
        _folder.makeFolder("a b.bundle");
        _folder.write("a b.bundle/file", "theirs");
        folder.commit();
    }
    EXPECT_EQ(contentsOf(_path + "/file"), "theirs");
    EXPECT_EQ(entries(), 1u);
    EXPECT_THAT(problemOf(_path, Existing::Kept), HasSubstr("is there already"));
}

TEST_F(OutputFolderTest, ReplacesWhetherOneComesOrGoesMeanwhile) {
    OutputFolder first(_path, Existing::Replaced);
    first.write("file", kBytes);
    _folder.makeFolder("a b.bundle");
    _folder.write("a b.bundle/file", "theirs");
    first.commit();
    EXPECT_EQ(contentsOf(_path + "/file"), "new");
    OutputFolder second(_path, Existing::Replaced);
    fs::remove_all(_path);
    second.commit();
    EXPECT_TRUE(fs::is_empty(_path));
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFolderTest, LetsNobodyElseWriteWhatIsInstalled) {
    const mode_t old = umask(0);
    OutputFolder folder(_path, Existing::Refused, OutputFolder::Kind::Installed);
    folder.write("inner/deep/file", kBytes);
    folder.commit();
    umask(old);
    for (const char *path : {"", "/inner", "/inner/deep", "/inner/deep/file"}) {
        const auto rights = fs::status(_path + path).permissions();
        EXPECT_EQ(rights & (fs::perms::group_write | fs::perms::others_write), fs::perms::none)
            << path;
    }
}

TEST_F(OutputFolderTest, RemovesWhatKilledProcessesHaveLeftAndNothingElse) {
    const pid_t child = fork();
    if (child == 0) {
        const OutputFolder folder(_path, Existing::Refused);
        folder.write("inner/file", kBytes);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    const OutputFolder living(_path, Existing::Refused);
    ASSERT_EQ(entries(), 2u);
    OutputFolder::removeAbandonedIn(_folder.path());
    EXPECT_EQ(entries(), 1u);
    EXPECT_TRUE(fs::exists(living.partPath()));
}

TEST_F(OutputFolderTest, NamesTheFolderThatCannotBeMade) {
    EXPECT_THAT(problemOf(_folder.pathOf("none/x.bundle")),
                HasSubstr("none/x.bundle: cannot be made: No such file or directory"));
    for (const char *name : {"/", ".", ".."}) {
        EXPECT_THAT(problemOf(name), HasSubstr("is no name for a new folder")) << name;
    }
}

} // namespace
