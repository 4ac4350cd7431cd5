#include "Host/Support/OutputFile.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

TEST(OutputFile, IsNotThereUntilItIsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("x");
    OutputFile file(path);
    file.write("text");
    EXPECT_FALSE(std::filesystem::exists(path));
    file.commit();
    EXPECT_EQ(contentsOf(path), "text");
}

TEST(OutputFile, LeavesNothingWhenItIsGivenUp) {
    const TemporaryFolder folder;
    { OutputFile(folder.pathOf("x")).write("text"); }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(OutputFile, ReplacesWhatALinkLeadsToAndNotTheLink) {
    const TemporaryFolder folder;
    const std::string target = folder.write("target", "old");
    std::filesystem::create_symlink(target, folder.pathOf("link"));
    OutputFile file(folder.pathOf("link"));
    file.write("new");
    file.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder.pathOf("link")));
    EXPECT_EQ(contentsOf(target), "new");
}

TEST(OutputFile, WritesStraightToADevice) {
    OutputFile file("/dev/full");
    file.write("text");
    EXPECT_THROW(file.commit(), HostError);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

std::string onlyNameIn(const std::string &folder) {
    std::string name;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_EQ(name, "") << "more than one file";
        name = entry.path().filename().string();
    }
    return name;
}

mode_t modeOf(const std::string &path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

void write(const std::string &path, OutputFile::Mode mode = OutputFile::Mode::Whole) {
    OutputFile file(path, mode);
    file.write("new");
    file.commit();
}

template <typename Action> std::string errorOf(const Action &action) {
    try {
        action();
    } catch (const HostError &error) {
        return error.what();
    }
    return {};
}

TEST(OutputFile, HasANameMeanwhileThatNobodyCanGuess) {
    const TemporaryFolder folder;
    std::set<std::string> names;
    for (int i = 0; i < 20; ++i) {
        const OutputFile file(folder.pathOf("x"));
        names.insert(onlyNameIn(folder.path()));
    }
    EXPECT_EQ(names.size(), 20U);
}

TEST(OutputFile, DoesNotFollowALinkThatTookTheNameOfItsFormerTemporaryFile) {
    const TemporaryFolder folder;
    const std::string victim = folder.write("victim", "safe");
    std::filesystem::create_symlink(victim,
                                    folder.pathOf(".x." + std::to_string(getpid()) + ".part"));
    write(folder.pathOf("x"));
    EXPECT_EQ(contentsOf(victim), "safe");
    EXPECT_EQ(contentsOf(folder.pathOf("x")), "new");
}

TEST(OutputFile, DoesNotFollowALinkThatTakesItsNameMeanwhile) {
    const TemporaryFolder folder;
    const std::string victim = folder.write("victim", "safe");
    OutputFile file(folder.pathOf("x"));
    file.write("new");
    std::filesystem::create_symlink(victim, folder.pathOf("x"));
    file.commit();
    EXPECT_EQ(contentsOf(victim), "safe");
    EXPECT_EQ(contentsOf(folder.pathOf("x")), "new");
}

TEST(OutputFile, StaysInItsFolderWhenALinkTakesTheFoldersName) {
    const TemporaryFolder folder;
    folder.makeFolder("a");
    const std::string elsewhere = folder.makeFolder("elsewhere");
    OutputFile file(folder.pathOf("a/x"));
    file.write("new");
    std::filesystem::rename(folder.pathOf("a"), folder.pathOf("b"));
    std::filesystem::create_directory_symlink(elsewhere, folder.pathOf("a"));
    file.commit();
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
    EXPECT_EQ(contentsOf(folder.pathOf("b/x")), "new");
}

TEST(OutputFile, RefusesALinkOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TemporaryFolder folder;
    const std::string victim = folder.write("victim", "safe");
    std::filesystem::create_symlink(victim, folder.pathOf("x"));
    ASSERT_EQ(lchown(folder.pathOf("x").c_str(), 65534, 65534), 0);
    for (const auto mode : {OutputFile::Mode::Whole, OutputFile::Mode::InPlace}) {
        EXPECT_THAT(errorOf([&] { write(folder.pathOf("x"), mode); }),
                    HasSubstr("is a link of another user"));
    }
    EXPECT_EQ(contentsOf(victim), "safe");
}

TEST(OutputFile, FollowsAChainOfLinksButNoCircle) {
    const TemporaryFolder folder;
    folder.makeFolder("a");
    std::filesystem::create_symlink("a/second", folder.pathOf("first"));
    std::filesystem::create_symlink("../target", folder.pathOf("a/second"));
    write(folder.pathOf("first"));
    EXPECT_EQ(contentsOf(folder.pathOf("target")), "new");
    std::filesystem::create_symlink("circle", folder.pathOf("circle"));
    EXPECT_THROW(write(folder.pathOf("circle")), HostError);
}

TEST(OutputFile, KeepsThePermissionsOfTheFileThatItReplaces) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x", "old");
    for (const mode_t mode : {0600U, 0640U, 0755U, 0666U}) {
        chmod(path.c_str(), mode);
        write(path);
        EXPECT_EQ(modeOf(path), mode);
        EXPECT_EQ(contentsOf(path), "new");
    }
}

TEST(OutputFile, IsReadByNobodyElseWhileItReplacesASecret) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x", "old");
    chmod(path.c_str(), 0600);
    const OutputFile file(path);
    struct stat status {};
    ASSERT_EQ(fstat(file.descriptor(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(OutputFile, KeepsTheOwnerAndTheGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TemporaryFolder folder;
    const std::string path = folder.write("x", "old");
    ASSERT_EQ(chown(path.c_str(), 65534, 12345), 0);
    write(path);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 65534U);
    EXPECT_EQ(status.st_gid, 12345U);
}

TEST(OutputFile, RefusesAFileThatItsOwnerHasProtected) {
    const TemporaryFolder folder;
    const std::string path = folder.write("x", "old");
    chmod(path.c_str(), 0400);
    for (const auto mode :
         {OutputFile::Mode::Whole, OutputFile::Mode::InPlace, OutputFile::Mode::RegularFile}) {
        EXPECT_THAT(errorOf([&] { write(path, mode); }), HasSubstr("x: is protected"));
    }
    EXPECT_EQ(modeOf(path), 0400U);
    EXPECT_EQ(contentsOf(path), "old");
    EXPECT_EQ(onlyNameIn(folder.path()), "x");
}

TEST(OutputFile, DoesNotWaitForAPipeThatNobodyReads) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_THAT(errorOf([&] { write(path); }), HasSubstr("nobody reads from it"));
    EXPECT_THAT(errorOf([&] { write(path, OutputFile::Mode::InPlace); }),
                HasSubstr("nobody reads from it"));
}

TEST(OutputFile, WritesIntoAPipeThatSomebodyReads) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::string read;
    const std::string text(1'000'000, 'x');
    std::thread thread([&] {
        char part[4096];
        pollfd state{reader, POLLIN, 0};
        while (poll(&state, 1, 10'000) > 0) {
            const ssize_t count = ::read(reader, part, sizeof part);
            if (count == 0) {
                break;
            }
            read.append(part, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    });
    {
        OutputFile file(path);
        EXPECT_TRUE(file.isSpecial());
        file.write(text);
        file.commit();
    }
    thread.join();
    close(reader);
    EXPECT_EQ(read, text);
    EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST(OutputFile, RefusesAPipeWhereOnlyARegularFileWillDo) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    for (const std::string &special : {path, std::string("/dev/null")}) {
        EXPECT_THAT(errorOf([&] { write(special, OutputFile::Mode::RegularFile); }),
                    HasSubstr("is no regular file"));
    }
    close(reader);
}

TEST(OutputFile, HasRoomForLongNames) {
    const TemporaryFolder folder;
    const std::string path = folder.pathOf(std::string(255, 'x'));
    write(path);
    EXPECT_EQ(contentsOf(path), "new");
}

TEST(OutputFile, IsRemovedBeforeASignalEndsTheProcess) {
    const TemporaryFolder folder;
    const OutputFile first(folder.pathOf("x"));
    const OutputFile second(folder.pathOf("y"));
    OutputFile::removeUnfinished();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(OutputFile, StaysWhenItIsFinishedBeforeASignal) {
    const TemporaryFolder folder;
    write(folder.pathOf("x"));
    OutputFile::removeUnfinished();
    EXPECT_EQ(onlyNameIn(folder.path()), "x");
}

TEST(OutputFile, IsWrittenByItsDescriptorsPathAsWell) {
    const TemporaryFolder folder;
    OutputFile file(folder.pathOf("x"));
    std::ofstream(file.descriptorPath()) << "by another writer";
    file.commit();
    EXPECT_EQ(contentsOf(folder.pathOf("x")), "by another writer");
}

TEST(OutputFile, NamesTheFolderThatIsMissing) {
    EXPECT_THROW(OutputFile("/nonexistent/x"), HostError);
    EXPECT_THROW(OutputFile("/tmp"), HostError);
}

} // namespace
