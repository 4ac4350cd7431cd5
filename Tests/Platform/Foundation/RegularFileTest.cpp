#include "Platform/Foundation/NSFileManager.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <sys/stat.h>

namespace {

using Three = std::array<std::uint8_t, 3>;

TEST(RegularFile, IsReadPieceByPieceToItsEnd) {
    const TemporaryFolder folder;
    RegularFile file(folder.write("file", "abcde"));
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(file.size(), 5u);
    Three bytes{};
    EXPECT_EQ(file.read(bytes), 3u);
    EXPECT_EQ(bytes, (Three{'a', 'b', 'c'}));
    EXPECT_EQ(file.read(bytes), 2u);
    EXPECT_EQ(bytes, (Three{'d', 'e', 'c'}));
    EXPECT_EQ(file.read(bytes), 0u);
}

TEST(RegularFile, IsNoFolderNoPipeAndNoDevice) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    for (const std::string &path : {folder.path(), folder.pathOf("pipe"), folder.pathOf("none"),
                                    std::string("/dev/zero"), std::string()}) {
        const RegularFile file(path);
        EXPECT_FALSE(file.isOpen()) << path;
        EXPECT_EQ(file.size(), 0u) << path;
    }
}

TEST(RegularFile, SaysWhenItCannotBeRead) {
    // /proc/self/mem is a regular file whose first page cannot be read.
    RegularFile file("/proc/self/mem");
    ASSERT_TRUE(file.isOpen());
    Three bytes{};
    EXPECT_EQ(file.read(bytes), std::nullopt);
}

} // namespace
