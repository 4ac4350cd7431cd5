#include "Platform/Foundation/NSFileManager.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Names = std::vector<std::string>;
using ::testing::HasSubstr;

std::optional<Names> list(const std::string &path, std::string *error = nullptr) {
    return NSFileManager::contentsOfDirectoryAtPath_error(path, error);
}

TEST(NSFileManager, ListsNamesInTheOrderOfTheirBytes) {
    const TemporaryFolder folder;
    for (const char *name : {"b", "\xc3\xa9", "a", "B", "10", "9"}) {
        folder.write(name, "");
    }
    EXPECT_EQ(list(folder.path()), (Names{"10", "9", "B", "a", "b", "\xc3\xa9"}));
}

TEST(NSFileManager, ListsFoldersPipesAndHiddenNamesButNotWhatSubfoldersHold) {
    const TemporaryFolder folder;
    folder.makeFolder("a.bundle");
    folder.write("a.bundle/inside", "");
    folder.write(".hidden", "");
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    EXPECT_EQ(list(folder.path()), (Names{".hidden", "a.bundle", "pipe"}));
}

TEST(NSFileManager, ListsAnEmptyFolderAsEmptyAndReportsNoError) {
    const TemporaryFolder folder;
    std::string error = "untouched";
    EXPECT_EQ(list(folder.path(), &error), Names{});
    EXPECT_EQ(error, "untouched");
}

TEST(NSFileManager, TakesAPathThatEndsInASlash) {
    const TemporaryFolder folder;
    folder.write("name", "");
    EXPECT_EQ(list(folder.path() + "/"), Names{"name"});
}

TEST(NSFileManager, SaysThatAMissingFolderIsMissingAndWhichOne) {
    const TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(list(folder.pathOf("missing"), &error));
    EXPECT_EQ(error, folder.pathOf("missing") + ": No such file or directory");
}

TEST(NSFileManager, SaysThatAFileIsNoFolder) {
    const TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(list(folder.write("file", ""), &error));
    EXPECT_EQ(error, folder.pathOf("file") + ": Not a directory");
}

TEST(NSFileManager, DoesNotWaitForAPipe) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(list(folder.pathOf("pipe")));
}

TEST(NSFileManager, SaysThatAFolderMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "needs a user other than root";
    }
    const TemporaryFolder folder;
    const std::string path = folder.makeFolder("locked");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    std::string error;
    EXPECT_FALSE(list(path, &error));
    EXPECT_THAT(error, HasSubstr("Permission denied"));
}

TEST(NSFileManager, NeedsNobodyToTakeTheError) { EXPECT_FALSE(list("")); }

TEST(NSFileManager, DoesNotListAShorterNameWhenThePathHoldsAZero) {
    const TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(list(folder.path() + '\0' + "more", &error));
    EXPECT_THAT(error, HasSubstr("No such file or directory"));
}

} // namespace
