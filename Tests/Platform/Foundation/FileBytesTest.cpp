#include "Platform/Foundation/NSFileManager.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kPlenty = 1 << 20;

TEST(FileBytes, AreThoseOfTheFileZerosIncluded) {
    const TemporaryFolder folder;
    const Bytes contents{0x00, 0xff, 0x0d, 0x0a, 0x1a, 0x00};
    EXPECT_EQ(readFile(folder.write("file", contents), kPlenty), contents);
}

TEST(FileBytes, OfAnEmptyFileAreNoneButThere) {
    const TemporaryFolder folder;
    EXPECT_EQ(readFile(folder.write("file", ""), kPlenty), Bytes{});
}

TEST(FileBytes, OfALargeFileAreWhole) {
    const TemporaryFolder folder;
    Bytes contents(700'001);
    for (std::size_t i = 0; i < contents.size(); ++i) {
        contents[i] = static_cast<std::uint8_t>(i * 31 + i / 251);
    }
    EXPECT_EQ(readFile(folder.write("file", contents), kPlenty), contents);
}

TEST(FileBytes, AreReadUpToTheMaximumAndNotBeyond) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "12345");
    EXPECT_TRUE(readFile(path, 5));
    EXPECT_FALSE(readFile(path, 4));
    EXPECT_FALSE(readFile(path, 0));
    EXPECT_TRUE(readFile(folder.write("empty", ""), 0));
}

TEST(FileBytes, OfAFileTooLargeForMemoryAreNotAskedFor) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "");
    ASSERT_EQ(truncate(path.c_str(), off_t{1} << 40), 0);
    EXPECT_FALSE(readFile(path, kPlenty));
}

TEST(FileBytes, OfAKernelFileThatSaysItIsEmptyAreReadAllTheSame) {
    const auto bytes = readFile("/proc/self/status", kPlenty);
    ASSERT_TRUE(bytes);
    EXPECT_FALSE(bytes->empty());
    EXPECT_FALSE(readFile("/proc/self/status", 10));
}

TEST(FileBytes, AreReadThroughALink) {
    const TemporaryFolder folder;
    folder.write("file", "x");
    ASSERT_EQ(symlink("file", folder.pathOf("link").c_str()), 0);
    EXPECT_EQ(readFile(folder.pathOf("link"), kPlenty), Bytes{'x'});
}

TEST(FileBytes, OfAMissingFileAreNothing) {
    const TemporaryFolder folder;
    EXPECT_FALSE(readFile(folder.pathOf("file"), kPlenty));
    EXPECT_FALSE(readFile("", kPlenty));
    ASSERT_EQ(symlink("nowhere", folder.pathOf("link").c_str()), 0);
    EXPECT_FALSE(readFile(folder.pathOf("link"), kPlenty));
}

TEST(FileBytes, OfAFileWithoutPermissionAreNothing) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "needs a user other than root";
    }
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "x");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_FALSE(readFile(path, kPlenty));
}

TEST(FileBytes, AreNothingWhenReadingFails) {
    // /proc/self/mem is a regular file whose first page cannot be read.
    EXPECT_FALSE(readFile("/proc/self/mem", kPlenty));
}

TEST(FileBytes, OfAFolderAreNothing) {
    const TemporaryFolder folder;
    EXPECT_FALSE(readFile(folder.path(), kPlenty));
}

TEST(FileBytes, OfAPipeAreNothingAndNobodyWaits) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(readFile(folder.pathOf("pipe"), kPlenty));
}

TEST(FileBytes, OfADeviceAreNothing) {
    EXPECT_FALSE(readFile("/dev/zero", kPlenty));
    EXPECT_FALSE(readFile("/dev/null", kPlenty));
}

TEST(FileBytes, AreNotThoseOfAShorterNameWhenThePathHoldsAZero) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "x");
    EXPECT_FALSE(readFile(path + '\0' + "more", kPlenty));
}

} // namespace
