#include "Host/Desktop/OutputShow.h"

#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

using namespace Lumivera;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

/// An output whose views run in processes of their own, with a wallpaper that ends its process when
/// something disturbs the motion of its petals.
class OutputShowOnViewsTest : public ::testing::Test, public OutputShow::Listener {
  protected:
    OutputShowOnViewsTest() {
        namespace fs = std::filesystem;
        const std::string bundle = copyOfShippedBundle(_folder.path());
        std::ofstream(bundle + "/description.plist")
            << propertyList("<key>name Library</key><string>watchful.so</string>");
        fs::copy_file(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libWatchfulWallpaper.so",
                      bundle + "/watchful.so");
        _choice.bundle = bundle;
        _choice.petals = 40;
        _choice.speed = 3;
        const ViewMaker makeView = [this](const ViewRequest &request,
                                          RemoteView::Listener &listener) {
            return std::make_unique<ViewProcess>(_waiter, ViewProcess::Start{request, {}},
                                                 listener);
        };
        _show.emplace(_surface, makeView, _lastGood, "", *this);
        _show->choose(_choice);
    }

    void outputVisibilityChanged() override {}
    void outputSays(const std::string &, const std::string &, const std::string &line) override {
        _lines.push_back(line);
    }

    /// True when so many more frames were shown, and no view has ended.
    bool goesOnFor(std::uint64_t frames) {
        const std::uint64_t end = _show->status().frames + frames;
        return serveUntil([&] { return _show->status().frames >= end || !_lines.empty(); }) &&
               _lines.empty();
    }

    bool hasPetals(std::uint64_t count) {
        return serveUntil([&] { return _show->status().petals == count || !_lines.empty(); });
    }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    HeadlessSurface _surface{"TEST-1", {160, 120, 1}};
    LastGoodBundle _lastGood{""};
    WallpaperChoice _choice;
    std::vector<std::string> _lines;
    std::optional<OutputShow> _show;
};

TEST_F(OutputShowOnViewsTest, DisturbsNoPetalByAnotherOffset) {
    ASSERT_TRUE(goesOnFor(5)) << _lines[0];
    _choice.offset = 20;
    _show->choose(_choice);
    EXPECT_TRUE(goesOnFor(10)) << _lines[0];
    EXPECT_EQ(_show->status().petals, 40U);
}

TEST_F(OutputShowOnViewsTest, DisturbsNoPetalByAnotherNumberOfThem) {
    ASSERT_TRUE(goesOnFor(5)) << _lines[0];
    _show->setHalved(true);
    EXPECT_TRUE(hasPetals(20));
    _choice.petals = 50;
    _show->choose(_choice);
    EXPECT_TRUE(hasPetals(25));
    EXPECT_TRUE(goesOnFor(5)) << _lines[0];
}

TEST_F(OutputShowOnViewsTest, GivesEveryPetalNewMotionByAnotherSpeed) {
    ASSERT_TRUE(goesOnFor(5)) << _lines[0];
    _choice.speed = 4;
    _show->choose(_choice);
    ASSERT_FALSE(goesOnFor(100));
    EXPECT_THAT(_lines.at(0), HasSubstr("exited with status 7"));
}

} // namespace
