#include "Host/Desktop/LastGoodBundle.h"

#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumivera;

namespace {

TEST(LastGoodBundle, ComesBackFromItsFile) {
    const TemporaryFolder folder;
    const std::string file = folder.pathOf("state/lumivera/last-good");
    LastGoodBundle first(file);
    EXPECT_EQ(first.path(), "");
    first.set("/some/Wall.bundle");
    EXPECT_EQ(first.path(), "/some/Wall.bundle");
    EXPECT_EQ(contentsOf(file), "/some/Wall.bundle\n");
    EXPECT_EQ(LastGoodBundle(file).path(), "/some/Wall.bundle");
}

TEST(LastGoodBundle, IsTheFirstLineOfTheFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(LastGoodBundle(folder.write("a", "/a.bundle\n/b.bundle\n")).path(), "/a.bundle");
    EXPECT_EQ(LastGoodBundle(folder.write("b", "/a.bundle")).path(), "/a.bundle");
    EXPECT_EQ(LastGoodBundle(folder.write("c", std::string("/a\0b", 4))).path(), "/a");
    EXPECT_EQ(LastGoodBundle(folder.write("d", "")).path(), "");
    EXPECT_EQ(LastGoodBundle(folder.path()).path(), "");
}

TEST(LastGoodBundle, CountsThoughItCannotBeWritten) {
    const TemporaryFolder folder;
    LastGoodBundle bundle(folder.write("file", "x") + "/last-good");
    bundle.set("/a.bundle");
    EXPECT_EQ(bundle.path(), "/a.bundle");
    LastGoodBundle nowhere("");
    nowhere.set("/a.bundle");
    EXPECT_EQ(nowhere.path(), "/a.bundle");
}

TEST(LastGoodBundle, IsWrittenOnlyWhenItIsNews) {
    const TemporaryFolder folder;
    LastGoodBundle bundle(folder.pathOf("last-good"));
    bundle.set("/a.bundle");
    std::filesystem::remove(folder.pathOf("last-good"));
    bundle.set("/a.bundle");
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("last-good")));
}

} // namespace
