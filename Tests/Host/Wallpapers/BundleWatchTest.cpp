#include "Host/Wallpapers/BundleWatch.h"

#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>

using namespace Lumivera;

namespace fs = std::filesystem;

namespace {

class BundleWatchTest : public ::testing::Test {
  protected:
    BundleWatchTest() { fs::create_directories(_path + "/sub"); }

    void watch() {
        _watch.emplace(_waiter, _path, [this] { ++_changes; });
    }

    /// True when it tells of one change more, and of no other one soon after it.
    bool tellsOnce() {
        const int before = _changes;
        serveUntil([&] { return _changes > before; });
        return !tellsMore() && _changes == before + 1;
    }

    bool tellsMore() {
        const int before = _changes;
        NSRunLoop::mainRunLoop().runForSeconds(3 * BundleWatch::kQuietTime);
        return _changes > before;
    }

    void write(const std::string &name) const { std::ofstream(_path + "/" + name) << "text"; }

    TemporaryFolder _folder;
    const std::string _path = _folder.pathOf("My.bundle");
    DescriptorWaiter _waiter;
    std::optional<BundleWatch> _watch;
    int _changes = 0;
};

TEST_F(BundleWatchTest, TellsOnceOfManyChangesWhenTheyHaveEnded) {
    watch();
    EXPECT_FALSE(tellsMore());
    for (int i = 0; i < 100; ++i) {
        write("picture" + std::to_string(i % 7) + ".png");
    }
    EXPECT_TRUE(tellsOnce());
    fs::remove(_path + "/picture1.png");
    EXPECT_TRUE(tellsOnce());
}

TEST_F(BundleWatchTest, SeesNewFolders) {
    watch();
    write("sub/one");
    EXPECT_TRUE(tellsOnce());
    fs::create_directories(_path + "/sub/new");
    EXPECT_TRUE(tellsOnce());
    write("sub/new/two");
    EXPECT_TRUE(tellsOnce());
}

TEST_F(BundleWatchTest, SeesTheBundleGoAndComeBack) {
    watch();
    fs::remove_all(_path);
    EXPECT_TRUE(tellsOnce());
    fs::create_directories(_path);
    EXPECT_TRUE(tellsOnce());
    write("one");
    EXPECT_TRUE(tellsOnce());
    fs::rename(_path, _folder.pathOf("Old.bundle"));
    EXPECT_TRUE(tellsOnce());
    fs::rename(_folder.pathOf("Old.bundle"), _path);
    EXPECT_TRUE(tellsOnce());
}

TEST_F(BundleWatchTest, SeesNothingBesideTheBundle) {
    watch();
    _folder.write("beside", std::string_view("text"));
    fs::create_directories(_folder.pathOf("My.bundle2"));
    EXPECT_FALSE(tellsMore());
}

TEST_F(BundleWatchTest, FindsABundleWhoseFoldersAreMadeLater) {
    fs::remove_all(_path);
    const std::string inner = _path + "/build/Inner.bundle";
    _watch.emplace(_waiter, inner + "/", [this] { ++_changes; });
    fs::create_directories(inner);
    EXPECT_TRUE(tellsOnce());
    std::ofstream(inner + "/description.plist") << "text";
    EXPECT_TRUE(tellsOnce());
}

} // namespace
