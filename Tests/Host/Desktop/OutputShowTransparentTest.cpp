#include "Host/Desktop/OutputShow.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr SurfaceGeometry kOpaque{100, 50, 1};
constexpr SurfaceGeometry kTransparent{100, 50, 1, true};
constexpr std::uint32_t kSky = 0xFF0000FF;

const std::string kAsked = "/asked";

/// An output without a screen whose surface is transparent, with fake views and simulated time.
class OutputShowTransparentTest : public SimulatedTimeTest, public OutputShow::Listener {
  protected:
    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    void begin() {
        _choice.bundle = kAsked;
        _views.backgroundBehaviours[kAsked].ground = kSky;
        _show.emplace(_surface, _views.maker(), _lastGood, "/shipped", *this);
        _show->choose(_choice);
        runForSeconds(3);
    }

    void choose() {
        _show->choose(_choice);
        runForSeconds(3);
    }

    void outputVisibilityChanged() override {}
    void outputSays(const std::string &, const std::string &, const std::string &line) override {
        _lines.push_back(line);
    }
    void outputBackgroundDrawn(const DesktopSurface &surface,
                               const SharedBuffers &picture) override {
        EXPECT_EQ(surface.outputName(), "TEST-1");
        EXPECT_EQ(&picture, _surface.background());
        _areas.push_back(surface.outputArea());
    }
    void outputBackgroundGone(const std::string &output) override { _gone += output + " "; }

    /// A pixel that fake views do not number.
    std::uint32_t shownPixel() const { return _surface.memory()->pixels(*_surface.presented())[9]; }

    std::vector<std::uint32_t> picture() {
        std::vector<std::uint32_t> result;
        _show->readPicture([&](const std::uint32_t *pixels, unsigned width, unsigned height) {
            result.assign(pixels, pixels + std::size_t{width} * height);
        });
        EXPECT_TRUE(runUntil([&] { return !result.empty(); }));
        return result;
    }

    FakeViews _views;
    HeadlessSurface _surface{"TEST-1", kTransparent};
    LastGoodBundle _lastGood{""};
    WallpaperChoice _choice;
    std::optional<OutputShow> _show;
    std::vector<std::string> _lines;
    std::vector<DeviceRect> _areas;
    std::string _gone;
};

TEST_F(OutputShowTransparentTest, DrawsTheBackgroundOfWhatItShows) {
    _choice.tint = CGColor{1, 0, 0, 1};
    begin();
    EXPECT_EQ(_views.view(kAsked)->request().part, WallpaperPart::Petals);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kAsked));
    ASSERT_THAT(_views.backgroundRequests(), SizeIs(1));
    EXPECT_EQ(_views.backgroundRequests()[0].values.tint, _choice.tint);
    EXPECT_THAT(_areas, ElementsAre(DeviceRect{0, 0, 100, 50}));
    EXPECT_EQ(_surface.background()->pixels(0)[9], kSky);
    EXPECT_THAT(_lines, IsEmpty());
}

TEST_F(OutputShowTransparentTest, DrawsNoBackgroundForAnOpaqueSurface) {
    _surface.setGeometry(kOpaque);
    begin();
    EXPECT_THAT(_views.made(), ElementsAre(kAsked));
    EXPECT_THAT(_areas, IsEmpty());
}

TEST_F(OutputShowTransparentTest, DrawsTheBackgroundAnewOnlyWhenItChanges) {
    begin();
    _choice.petals = 9;
    _choice.speed = 3;
    _choice.offset = 20;
    choose();
    _show->setHalved(true);
    _surface.listener()->scrolledBy(30);
    runForSeconds(3);
    EXPECT_THAT(_areas, SizeIs(1));
    _choice.scale = 2;
    choose();
    EXPECT_THAT(_areas, SizeIs(2));
    EXPECT_EQ(_views.backgroundRequests().back().values.scale, 2);
    _choice.tint = CGColor{0, 1, 0, 1};
    choose();
    EXPECT_THAT(_areas, SizeIs(3));
    _choice.bundle = "/other";
    choose();
    EXPECT_EQ(_views.backgroundRequests().back().bundle, "/other");
    EXPECT_THAT(_areas, SizeIs(4));
    _surface.setGeometry({80, 40, 1, true});
    runForSeconds(3);
    EXPECT_THAT(_areas, SizeIs(5));
    EXPECT_EQ(_areas.back(), (DeviceRect{0, 0, 80, 40}));
}

TEST_F(OutputShowTransparentTest, DrawsTheBackgroundAnewWhenTheSameBundleIsChosenAgain) {
    begin();
    _show->choose(_choice, true);
    runForSeconds(3);
    EXPECT_THAT(_areas, SizeIs(2)) << "its files may have changed";
}

TEST_F(OutputShowTransparentTest, KeepsTheBackgroundOfAViewThatIsBegunAnew) {
    begin();
    runForSeconds(10);
    _views.view(kAsked)->endNow();
    runForSeconds(3);
    EXPECT_THAT(_lines, ElementsAre(HasSubstr("begun anew")));
    EXPECT_THAT(_areas, SizeIs(1));
}

TEST_F(OutputShowTransparentTest, TellsTheBackgroundAgainWhenTheOutputMoves) {
    begin();
    _surface.moveTo(300, 20);
    _surface.moveTo(300, 20);
    runForSeconds(3);
    EXPECT_THAT(_areas, ElementsAre(DeviceRect{0, 0, 100, 50}, DeviceRect{300, 20, 400, 70}));
    EXPECT_THAT(_views.made(), SizeIs(2));
}

TEST_F(OutputShowTransparentTest, TellsTheBackgroundAgainToAProgramThatHasBegunAnew) {
    begin();
    _surface.setIconsWindow(1);
    runForSeconds(3);
    EXPECT_THAT(_areas, SizeIs(2));
    EXPECT_THAT(_views.made(), SizeIs(2));
    _surface.setGeometry(kOpaque);
    _surface.setIconsWindow(2);
    _surface.setGeometry(kTransparent);
    runForSeconds(3);
    EXPECT_THAT(_areas, SizeIs(3));
    EXPECT_THAT(_views.backgroundRequests(), SizeIs(1)) << "the picture is the same";
}

TEST_F(OutputShowTransparentTest, TakesTheBackgroundFromASurfaceThatBecomesOpaque) {
    begin();
    _surface.setGeometry(kOpaque);
    runForSeconds(3);
    EXPECT_EQ(_surface.background(), nullptr);
    _surface.setGeometry(kTransparent);
    runForSeconds(3);
    EXPECT_NE(_surface.background(), nullptr);
    EXPECT_THAT(_areas, SizeIs(2));
}

TEST_F(OutputShowTransparentTest, SaysWhyThereIsNoBackground) {
    _views.backgroundBehaviours[kAsked].end = 0.1;
    begin();
    EXPECT_THAT(_lines, ElementsAre("TEST-1: /asked: has ended as the test wanted; its background "
                                    "is not shown"));
    EXPECT_GT(_surface.presentCount(), 10U) << "the petals fall nevertheless";
}

TEST_F(OutputShowTransparentTest, ReadsPetalsOverTheirBackground) {
    _views.behaviours[kAsked].ground = 0x80800000;
    _views.backgroundBehaviours[kAsked].firstPicture = 3;
    begin();
    EXPECT_EQ(picture()[9], 0x80800000U) << "there is no background yet";
    runForSeconds(3);
    EXPECT_EQ(picture()[9], 0xFF80007FU);
}

TEST_F(OutputShowTransparentTest, NeverShowsAnOpaquePicture) {
    _views.behaviours[kAsked].ground = 0xFF112233;
    begin();
    EXPECT_THAT(_lines, ElementsAre(AllOf(HasSubstr(kAsked), HasSubstr("would hide the icons"))));
    EXPECT_EQ(shownPixel(), 0U);
    EXPECT_EQ(_surface.presentCount(), 1U);
    EXPECT_FALSE(_views.view(kAsked)->isRunning());
    ASSERT_TRUE(_surface.background());
    EXPECT_EQ(_surface.background()->pixels(0)[9], 0xFF112233U) << "it stands still behind";
    EXPECT_THAT(_views.backgroundRequests(), IsEmpty());
    EXPECT_EQ(picture()[9], 0xFF112233U);
    _show->tap({1, 1});
    EXPECT_THAT(_views.view(kAsked)->taps(), IsEmpty());
}

TEST_F(OutputShowTransparentTest, ShowsTheNextWallpaperAfterAnOpaqueOne) {
    _views.behaviours[kAsked].ground = 0xFF112233;
    begin();
    _choice.bundle = "/other";
    choose();
    EXPECT_TRUE(_views.view("/other")->isRunning());
    EXPECT_GT(_surface.presentCount(), 10U);
    EXPECT_THAT(_lines, SizeIs(1));
}

TEST_F(OutputShowTransparentTest, PresentsNothingOpaqueOnceTheSurfaceIsTransparent) {
    _views.behaviours[kAsked].ground = 0xFF112233;
    for (int start = 0; start < 40; ++start) {
        _show.reset();
        _surface.setGeometry(kOpaque);
        _choice.bundle = kAsked;
        _show.emplace(_surface, _views.maker(), _lastGood, "/shipped", *this);
        _show->choose(_choice);
        runForSeconds(0.59 + start * 0.001);
        _surface.setGeometry(kTransparent);
        const auto before = _surface.presentCount();
        ASSERT_TRUE(runUntil([&] { return _surface.presentCount() > before; }));
        EXPECT_EQ(shownPixel(), 0U) << start;
    }
}

TEST_F(OutputShowTransparentTest, ShowsAnOpaquePictureOnAnOpaqueSurface) {
    _views.behaviours[kAsked].ground = 0xFF112233;
    _surface.setGeometry(kOpaque);
    begin();
    EXPECT_EQ(shownPixel(), 0xFF112233U);
    EXPECT_THAT(_lines, IsEmpty());
}

} // namespace
