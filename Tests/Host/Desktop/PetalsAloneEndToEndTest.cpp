#include "Host/Desktop/DesktopHost.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>

using namespace Lumivera;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 240;

using Pixels = std::vector<std::uint32_t>;

/// A transparent output whose views run in processes of their own.
class PetalsAloneEndToEndTest : public ::testing::Test {
  protected:
    void begin(const std::string &bundle) {
        DesktopHost::Options options;
        options.shippedBundle = bundle;
        options.choice.petals = 20;
        options.makeView = [this](const ViewRequest &request, RemoteView::Listener &listener) {
            ViewProcess::Start start{request, {}};
            start.confined = [this](int process) { _processes.push_back(process); };
            return std::make_unique<ViewProcess>(_waiter, start, listener);
        };
        options.log = [this](const std::string &line) { _lines.push_back(line); };
        options.showBackground = [this](const DesktopSurface &surface,
                                        const SharedBuffers &picture) {
            _area = surface.outputArea();
            _background = pixelsOf(picture, 0);
        };
        _host.emplace(_desktop, options, Configuration::parse("", "test.toml"));
        _desktop.addOutput("TEST-1", {kWidth, kHeight, 1, true});
    }

    static Pixels pixelsOf(const SharedBuffers &memory, unsigned index) {
        const std::uint32_t *const pixels = memory.pixels(index);
        return {pixels, pixels + std::size_t{memory.width()} * memory.height()};
    }

    HeadlessSurface &surface() { return *_desktop.surface("TEST-1"); }

    Pixels presented() { return pixelsOf(*surface().memory(), surface().presented().value()); }

    /// True once the process of the only view that is left is stopped.
    bool rests() {
        return serveUntil([&] { return isStopped(_processes[0]); });
    }

    bool hasBackground() {
        return serveUntil([&] { return !_background.empty() || !_lines.empty(); }) &&
               !_background.empty();
    }

    Pixels screenshot() {
        const std::string path = _folder.path() + "/shot.png";
        std::optional<std::optional<std::string>> answer;
        _host->saveScreenshot("", path, [&](auto problem) { answer = problem; });
        EXPECT_TRUE(serveUntil([&] { return answer.has_value(); }));
        const std::string bytes = contentsOf(path);
        const auto picture = CGImageCreateWithData(
            {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
        return picture ? Pixels(picture->pixels(), picture->pixels() + kWidth * kHeight) : Pixels();
    }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    HeadlessDesktop _desktop;
    std::vector<int> _processes;
    std::vector<std::string> _lines;
    Pixels _background;
    DeviceRect _area;
    std::optional<DesktopHost> _host;
};

MATCHER(IsOpaque, "") { return arg >> 24 == 0xFF; }

TEST_F(PetalsAloneEndToEndTest, ShowsPetalsInFrontOfWhatTheDesktopShows) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasBackground());
    EXPECT_THAT(_lines, IsEmpty());
    EXPECT_EQ(_area, (DeviceRect{0, 0, kWidth, kHeight}));
    EXPECT_THAT(_background, AllOf(SizeIs(kWidth * kHeight), Each(IsOpaque())));
    ASSERT_THAT(_processes, SizeIs(2));
    EXPECT_EQ(kill(_processes[1], 0), -1) << "the background's process has ended";
    const auto shown = surface().presentCount();
    EXPECT_TRUE(serveUntil([&] { return surface().presentCount() > shown + 10; }));

    _host->setPaused("", true);
    ASSERT_TRUE(rests());
    const Pixels petals = presented();
    const auto clear = std::count(petals.begin(), petals.end(), 0U);
    EXPECT_GT(clear, kWidth * kHeight / 3);
    EXPECT_LT(clear, kWidth * kHeight);
    const Pixels shot = screenshot();
    ASSERT_THAT(shot, AllOf(SizeIs(kWidth * kHeight), Each(IsOpaque())));
    for (std::size_t i = 0; i < petals.size(); ++i) {
        ASSERT_TRUE(petals[i] != 0 || shot[i] == _background[i]) << i;
    }
    EXPECT_NE(shot, _background);
}

TEST_F(PetalsAloneEndToEndTest, NeverHidesIconsBehindAnOpaqueWallpaper) {
    const std::string bundle = testBundle(_folder.path(), "OpaqueWallpaper");
    begin(bundle);
    ASSERT_TRUE(serveUntil([&] { return !_background.empty(); }));
    EXPECT_THAT(_lines, ElementsAre(AllOf(HasSubstr(bundle), HasSubstr("would hide the icons"))));
    EXPECT_THAT(presented(), Each(0U));
    EXPECT_THAT(_background, Each(0xFF00FF00U)) << "the wallpaper's own picture";
    EXPECT_TRUE(rests());
    EXPECT_EQ(surface().presentCount(), 1U);
}

} // namespace
