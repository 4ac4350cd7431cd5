#include "Platform/Foundation/NSBundle.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TEST(NSBundle, IsAnyFolderWhateverItsName) {
    const TemporaryFolder folder;
    const auto bundle = NSBundle::bundleWithPath(folder.path());
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundlePath(), folder.path());
    EXPECT_EQ(bundle->resourcePath(), folder.path());
}

TEST(NSBundle, DropsSlashesAtTheEndOfItsPathAndNoOthers) {
    const TemporaryFolder folder;
    folder.makeFolder("a.bundle");
    const auto bundle = NSBundle::bundleWithPath(folder.path() + "//a.bundle///");
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->resourcePath(), folder.path() + "//a.bundle");
}

TEST(NSBundle, KeepsTheSlashThatIsTheWholePath) {
    EXPECT_EQ(NSBundle::bundleWithPath("/")->resourcePath(), "/");
    EXPECT_EQ(NSBundle::bundleWithPath("//")->resourcePath(), "/");
}

TEST(NSBundle, KeepsARelativePathRelative) {
    EXPECT_EQ(NSBundle::bundleWithPath(".")->resourcePath(), ".");
}

TEST(NSBundle, IsNothingWhereThereIsNoFolder) {
    const TemporaryFolder folder;
    EXPECT_FALSE(NSBundle::bundleWithPath(""));
    EXPECT_FALSE(NSBundle::bundleWithPath(folder.pathOf("missing.bundle")));
    EXPECT_FALSE(NSBundle::bundleWithPath(folder.write("file.bundle", "")));
    EXPECT_FALSE(NSBundle::bundleWithPath(folder.pathOf("file.bundle/")));
    ASSERT_EQ(mkfifo(folder.pathOf("pipe.bundle").c_str(), 0600), 0);
    EXPECT_FALSE(NSBundle::bundleWithPath(folder.pathOf("pipe.bundle")));
    EXPECT_FALSE(NSBundle::bundleWithPath(folder.path() + '\0' + "more"));
}

TEST(NSBundle, MayBeALinkToAFolder) {
    const TemporaryFolder folder;
    folder.makeFolder("a.bundle");
    folder.write("a.bundle/file", "");
    ASSERT_EQ(symlink("a.bundle", folder.pathOf("link").c_str()), 0);
    const auto bundle = NSBundle::bundleWithPath(folder.pathOf("link"));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->pathForResource_ofType("file", ""), folder.pathOf("link/file"));
}

TEST(NSBundle, FindsAResourceByNameAndType) {
    const TemporaryFolder folder;
    folder.write("description.plist", "");
    const auto bundle = NSBundle::bundleWithPath(folder.path() + "/");
    EXPECT_EQ(bundle->pathForResource_ofType("description", "plist"),
              folder.pathOf("description.plist"));
}

TEST(NSBundle, PutsNoDotWhereThereIsNoType) {
    const TemporaryFolder folder;
    folder.write("README", "");
    folder.write("a.png", "");
    const auto bundle = NSBundle::bundleWithPath(folder.path());
    EXPECT_EQ(bundle->pathForResource_ofType("README", ""), folder.pathOf("README"));
    EXPECT_EQ(bundle->pathForResource_ofType("a.png", ""), folder.pathOf("a.png"));
}

TEST(NSBundle, FindsNoResourceOfAnotherNameOrType) {
    const TemporaryFolder folder;
    folder.write("thumbnail.png", "");
    const auto bundle = NSBundle::bundleWithPath(folder.path());
    EXPECT_FALSE(bundle->pathForResource_ofType("thumbnail", "plist"));
    EXPECT_FALSE(bundle->pathForResource_ofType("thumbnail", ""));
    EXPECT_FALSE(bundle->pathForResource_ofType("Thumbnail", "png"));
    EXPECT_FALSE(bundle->pathForResource_ofType("", ""));
}

TEST(NSBundle, TakesAFolderOrAPipeForNoResource) {
    const TemporaryFolder folder;
    folder.makeFolder("description.plist");
    ASSERT_EQ(mkfifo(folder.pathOf("thumbnail.png").c_str(), 0600), 0);
    const auto bundle = NSBundle::bundleWithPath(folder.path());
    EXPECT_FALSE(bundle->pathForResource_ofType("description", "plist"));
    EXPECT_FALSE(bundle->pathForResource_ofType("thumbnail", "png"));
}

TEST(NSBundle, LooksAtTheFolderAnewEachTime) {
    const TemporaryFolder folder;
    const auto bundle = NSBundle::bundleWithPath(folder.path());
    EXPECT_FALSE(bundle->pathForResource_ofType("late", "png"));
    folder.write("late.png", "");
    EXPECT_TRUE(bundle->pathForResource_ofType("late", "png"));
}

TEST(NSBundle, OfTheProgramIsItsFolderAndAlwaysTheSameObject) {
    const auto bundle = NSBundle::mainBundle();
    ASSERT_TRUE(bundle);
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(bundle->resourcePath(), program.parent_path());
    EXPECT_TRUE(bundle->pathForResource_ofType(program.filename().string(), ""));
    EXPECT_EQ(NSBundle::mainBundle(), bundle);
}

TEST(NSBundle, OfTheProgramOutlivesEveryReference) {
    { const auto bundle = NSBundle::mainBundle(); }
    EXPECT_EQ(NSBundle::mainBundle()->retainCount(), 2u);
}

} // namespace
