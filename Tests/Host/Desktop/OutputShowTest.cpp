#include "Host/Desktop/OutputShow.h"

#include "Host/Displays/Headless/HeadlessDesktop.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr SurfaceGeometry kGeometry{100, 50, 2};
constexpr SurfaceGeometry kTransparent{100, 50, 2, true};

const std::string kAsked = "/asked";
const std::string kGood = "/good";
const std::string kShipped = "/shipped";

/// An output without a screen, with fake views and simulated time.
class OutputShowTest : public SimulatedTimeTest, public OutputShow::Listener {
  protected:
    OutputShowTest() : _surface("TEST-1", kGeometry), _lastGood("") {}

    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    void begin(const std::string &bundle = kAsked) {
        _choice.bundle = bundle;
        _show.emplace(_surface, _views.maker(), _lastGood, kShipped, *this);
        _show->choose(_choice);
    }

    void outputVisibilityChanged() override { ++_visibilityChanges; }
    void outputSays(const std::string &, const std::string &, const std::string &line) override {
        _lines.push_back(line);
    }

    /// The bundle of the view whose memory the surface shows; empty when nothing is shown.
    std::string shown() const {
        for (const FakeViews::View *view : _views.views()) {
            if (_surface.presented() && view->request().memory.get() == _surface.memory()) {
                return view->request().bundle;
            }
        }
        return "";
    }

    FakeViews _views;
    HeadlessSurface _surface;
    LastGoodBundle _lastGood;
    WallpaperChoice _choice;
    std::optional<OutputShow> _show;
    std::vector<std::string> _lines;
    int _visibilityChanges = 0;
};

TEST_F(OutputShowTest, ShowsTheWallpaperThatWasChosen) {
    begin();
    runForSeconds(1);
    EXPECT_EQ(shown(), kAsked);
    const ViewRequest &request = _views.view(kAsked)->request();
    EXPECT_EQ(request.memory->width(), kGeometry.width);
    EXPECT_EQ(request.memory->height(), kGeometry.height);
    EXPECT_EQ(request.density, kGeometry.density);
    EXPECT_EQ(request.output, "TEST-1");
    EXPECT_THAT(_lines, IsEmpty());
}

TEST_F(OutputShowTest, ShowsPetalsAloneOnATransparentSurface) {
    begin();
    runForSeconds(1);
    EXPECT_EQ(_views.view(kAsked)->request().part, WallpaperPart::Whole);
    _surface.setGeometry(kTransparent);
    runForSeconds(2);
    ASSERT_TRUE(_views.view(kAsked)) << "a new view has replaced the old one";
    EXPECT_EQ(_views.view(kAsked)->request().part, WallpaperPart::Petals);
    EXPECT_EQ(shown(), kAsked);
    _surface.setGeometry(kGeometry);
    runForSeconds(1);
    ASSERT_TRUE(_views.view(kAsked));
    EXPECT_EQ(_views.view(kAsked)->request().part, WallpaperPart::Whole);
}

TEST_F(OutputShowTest, ShowsFrameAfterFrame) {
    begin();
    runForSeconds(2.61);
    EXPECT_EQ(_surface.presentCount(), 81U);
    EXPECT_NEAR(_show->status().framesPerSecond, 40, 0.1);
    EXPECT_EQ(_show->status().frames, 80U);
}

TEST_F(OutputShowTest, WaitsForTheWindowSystemToTellTheSize) {
    _surface.setGeometry({});
    begin();
    runForSeconds(3);
    EXPECT_THAT(_views.made(), IsEmpty());
    _surface.setGeometry(kGeometry);
    runForSeconds(1);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, KeepsTheOldWallpaperUntilTheNewOneHasAPicture) {
    begin();
    runForSeconds(1);
    _choice.bundle = kGood;
    _show->choose(_choice);
    runForSeconds(0.5);
    EXPECT_EQ(shown(), kAsked);
    const auto before = _surface.presentCount();
    runForSeconds(0.05);
    EXPECT_GT(_surface.presentCount(), before) << "it goes on moving";
    runForSeconds(0.2);
    EXPECT_EQ(shown(), kGood);
    EXPECT_EQ(_views.views().size(), 1U) << "the old one has ended";
}

TEST_F(OutputShowTest, ShowsTheLastOfSeveralChoicesInARow) {
    begin();
    for (const char *bundle : {"/a", "/b", "/c"}) {
        _choice.bundle = bundle;
        _show->choose(_choice);
        runForSeconds(0.1);
    }
    runForSeconds(1);
    EXPECT_EQ(shown(), "/c");
    EXPECT_EQ(_views.views().size(), 1U);
}

TEST_F(OutputShowTest, ChangesWhatARunningViewCanChange) {
    begin();
    runForSeconds(1);
    _choice.petals = 9;
    _choice.speed = 3;
    _show->choose(_choice);
    runForSeconds(1);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked));
    EXPECT_THAT(_views.view(kAsked)->changes(), ElementsAre("petals=9 speed=3"));
    EXPECT_EQ(_show->status().petals, 9U);
}

TEST_F(OutputShowTest, TellsAViewOnlyWhatHasChanged) {
    _choice.petals = 9;
    _choice.speed = 3;
    _choice.tint = CGColor{1, 0, 0, 1};
    begin();
    runForSeconds(1);
    FakeViews::View *view = _views.view(kAsked);
    EXPECT_EQ(view->request().values, _choice) << "a new view gets everything";
    EXPECT_THAT(view->changes(), IsEmpty());
    _choice.offset = 20;
    _show->choose(_choice);
    _show->choose(_choice);
    _show->setHalved(true);
    _show->setHalved(true);
    runForSeconds(1);
    EXPECT_THAT(view->changes(), ElementsAre("offset=20", "petals=5"));
    _show->setHalved(false);
    _choice.scale = 2;
    _show->choose(_choice);
    EXPECT_THAT(view->changes(), ElementsAre("offset=20", "petals=5", "petals=9", "scale=2"));
}

TEST_F(OutputShowTest, TellsAScrolledViewItsOffsetAgain) {
    _choice.offset = 20;
    begin();
    runForSeconds(1);
    _surface.listener()->scrolledBy(5);
    _show->choose(_choice);
    EXPECT_THAT(_views.view(kAsked)->changes(), ElementsAre("offset=20"));
    _show->choose(_choice);
    EXPECT_THAT(_views.view(kAsked)->changes(), ElementsAre("offset=20"));
}

TEST_F(OutputShowTest, TellsEveryViewThatIsThereWhatHasChanged) {
    _views.behaviours[kAsked].firstPicture = 10;
    begin();
    runForSeconds(3);
    ASSERT_EQ(shown(), kShipped) << "while the other one takes long";
    _choice.scale = 2;
    _show->choose(_choice);
    EXPECT_THAT(_views.view(kAsked)->changes(), ElementsAre("scale=2"));
    EXPECT_THAT(_views.view(kShipped)->changes(), ElementsAre("scale=2"));
}

TEST_F(OutputShowTest, BeginsAViewWithHalfOfThePetalsThatAreAskedFor) {
    _choice.petals = 9;
    begin();
    _show->setHalved(true);
    runForSeconds(1);
    EXPECT_THAT(_views.view(kAsked)->changes(), ElementsAre("petals=5"));
    _choice.bundle = kGood;
    _show->choose(_choice);
    runForSeconds(1);
    EXPECT_EQ(_views.view(kGood)->request().values.petals, 5U);
    EXPECT_THAT(_views.view(kGood)->changes(), IsEmpty());
}

TEST_F(OutputShowTest, BeginsANewViewForATintAndForWhatTheBundleSays) {
    begin();
    runForSeconds(1);
    _choice.tint = CGColor{1, 0, 0, 1};
    _choice.petals = 9;
    _show->choose(_choice);
    runForSeconds(1);
    EXPECT_EQ(_views.made().size(), 2U);
    _choice.petals.reset();
    _show->choose(_choice);
    runForSeconds(1);
    EXPECT_EQ(_views.made().size(), 3U);
    EXPECT_EQ(_show->status().petals, 30U);
}

TEST_F(OutputShowTest, BeginsANewViewForANewSizeOnceItHasSettled) {
    begin();
    runForSeconds(1);
    for (unsigned width = 101; width <= 110; ++width) {
        _surface.setGeometry({width, 50, 1});
        runForSeconds(0.01);
    }
    EXPECT_FALSE(_views.view(kAsked)->isRunning()) << "its pictures do not fit any more";
    runForSeconds(1);
    EXPECT_EQ(_views.made().size(), 2U);
    EXPECT_EQ(_surface.memory()->width(), 110U);
    EXPECT_EQ(shown(), kAsked);
    EXPECT_TRUE(_views.view(kAsked)->isRunning());
}

TEST_F(OutputShowTest, BeginsAViewAnewThatHasEnded) {
    _views.behaviours[kAsked].end = 20;
    begin();
    runForSeconds(21);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kAsked));
    EXPECT_EQ(shown(), kAsked);
    ASSERT_EQ(_lines.size(), 1U);
    EXPECT_THAT(_lines[0], HasSubstr("TEST-1: /asked: has ended as the test wanted"));
    EXPECT_THAT(_lines[0], HasSubstr("begun anew"));
}

TEST_F(OutputShowTest, FallsBackToTheLastGoodBundleAfterTwoQuickEnds) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].end = 3;
    begin();
    runForSeconds(6.7);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kAsked, kGood));
    EXPECT_EQ(shown(), kGood);
    EXPECT_EQ(_show->status().bundle, kGood);
    EXPECT_EQ(_show->status().failedBundle, kAsked);
    EXPECT_THAT(_lines.back(), HasSubstr("/good is shown instead"));
}

TEST_F(OutputShowTest, FallsBackToTheShippedBundleLast) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].end = 1;
    _views.behaviours[kGood].end = 1;
    begin();
    runForSeconds(5);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kAsked, kGood, kGood, kShipped));
    EXPECT_EQ(shown(), kShipped);
}

TEST_F(OutputShowTest, FallsBackAtOnceWhenThereIsNoHope) {
    _views.behaviours[kAsked] = {10, 0.1, true, {}};
    begin();
    runForSeconds(1);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kShipped));
    EXPECT_EQ(shown(), kShipped);
}

TEST_F(OutputShowTest, EndsThatAreFarApartAreNoReasonToFallBack) {
    _views.behaviours[kAsked].end = 11;
    begin();
    runForSeconds(60);
    EXPECT_EQ(_views.made().size(), 6U);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, FallsBackFromAWallpaperThatLoadsSlowlyAndThenHangs) {
    _views.behaviours[kAsked] = {6, 11, false, {}};
    begin();
    runForSeconds(30);
    EXPECT_EQ(std::count(_views.made().begin(), _views.made().end(), kAsked), 2);
    EXPECT_EQ(shown(), kShipped);
    EXPECT_EQ(_show->status().failedBundle, kAsked);
}

TEST_F(OutputShowTest, ShowsAnotherWallpaperWhileTheChosenOneTakesLong) {
    _views.behaviours[kAsked].firstPicture = 4.5;
    begin();
    runForSeconds(2.9);
    EXPECT_EQ(shown(), kShipped);
    runForSeconds(2);
    EXPECT_EQ(shown(), kAsked);
    EXPECT_EQ(_views.views().size(), 1U);
}

TEST_F(OutputShowTest, ShowsAnotherWallpaperWithinThreeSecondsOfOneThatHangs) {
    _views.behaviours[kAsked] = {1000, 5, false, {}};
    begin();
    runForSeconds(3);
    EXPECT_EQ(shown(), kShipped);
    runForSeconds(17);
    EXPECT_EQ(shown(), kShipped);
    EXPECT_EQ(_show->status().failedBundle, kAsked);
    EXPECT_EQ(_views.views().size(), 1U);
}

TEST_F(OutputShowTest, ReplacesAStandInAfterTwoQuickEnds) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].firstPicture = 1000;
    _views.behaviours[kGood].end = 1;
    begin();
    runForSeconds(2.9);
    EXPECT_EQ(shown(), kGood);
    runForSeconds(2.5);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kGood, kGood, kShipped));
    EXPECT_EQ(shown(), kShipped);
    ASSERT_EQ(_lines.size(), 2U);
    EXPECT_THAT(_lines[0], HasSubstr("/good: has ended as the test wanted; it is begun anew"));
    EXPECT_THAT(_lines[1], HasSubstr("/shipped stands in instead"));
    EXPECT_EQ(_show->status().failedBundle, "") << "the chosen one may still come";
}

TEST_F(OutputShowTest, ReplacesAStandInThatNeverHadAPicture) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].firstPicture = 20;
    _views.behaviours[kGood] = {1000, 5, false, {}};
    begin();
    runForSeconds(13);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kGood, kGood, kShipped));
    EXPECT_EQ(shown(), kShipped);
    runForSeconds(8);
    EXPECT_EQ(shown(), kAsked);
    EXPECT_EQ(_views.views().size(), 1U);
}

TEST_F(OutputShowTest, ReplacesAHopelessStandInAtOnce) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].firstPicture = 1000;
    _views.behaviours[kGood] = {10, 0.1, true, {}};
    begin();
    runForSeconds(3);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kGood, kShipped));
    EXPECT_EQ(shown(), kShipped);
}

TEST_F(OutputShowTest, BeginsAStandInAnewThatEndsNowAndThen) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].firstPicture = 1000;
    _views.behaviours[kGood].end = 11;
    begin();
    runForSeconds(26);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kGood, kGood, kGood));
    EXPECT_EQ(shown(), kGood);
}

TEST_F(OutputShowTest, DoesWithoutAStandInWhenAllOfThemFail) {
    _lastGood.set(kGood);
    _views.behaviours[kAsked].firstPicture = 1000;
    _views.behaviours[kGood].end = 1;
    _views.behaviours[kShipped].end = 1;
    begin();
    runForSeconds(900);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kGood, kGood, kShipped, kShipped));
    EXPECT_THAT(_lines.back(), HasSubstr("nothing else stands in"));
    runForSeconds(101);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, LetsAStandInStayWhereAllElseFails) {
    _views.behaviours[kAsked] = {1000, 5, true, {}};
    begin();
    runForSeconds(3);
    ASSERT_EQ(shown(), kShipped);
    _views.behaviours[kShipped] = {10, 0.1, true, {}};
    runForSeconds(4);
    EXPECT_THAT(_lines.back(), HasSubstr("tried again in 10 s"));
    EXPECT_EQ(shown(), kShipped);
    _views.view(kShipped)->endNow();
    runForSeconds(1);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kShipped, kShipped, kShipped));
    EXPECT_THAT(_lines.back(), HasSubstr("nothing else stands in"));
    _views.behaviours[kAsked] = {};
    runForSeconds(10);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, WaitsForASlowWallpaperAlthoughNothingCanStandIn) {
    _views.behaviours[kAsked].firstPicture = 20;
    begin();
    runForSeconds(1);
    _views.isOutOfProcesses = true;
    runForSeconds(3);
    EXPECT_EQ(_lines.size(), 1U);
    _views.isOutOfProcesses = false;
    runForSeconds(10);
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, kShipped));
    EXPECT_EQ(shown(), kShipped);
    runForSeconds(7);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, ShowsAnotherWallpaperWhenTheOldOneEndsBeforeTheNewOneHasAPicture) {
    begin();
    runForSeconds(1);
    _views.behaviours["/slow"].firstPicture = 30;
    _choice.bundle = "/slow";
    _show->choose(_choice);
    runForSeconds(5);
    ASSERT_EQ(shown(), kAsked);
    _views.view(kAsked)->endNow();
    runForSeconds(3);
    EXPECT_EQ(shown(), kShipped);
    runForSeconds(25);
    EXPECT_EQ(shown(), "/slow");
    EXPECT_THAT(_views.made(), ElementsAre(kAsked, "/slow", kShipped));
}

TEST_F(OutputShowTest, TriesAgainLaterWhenNothingCanBeShown) {
    _views.behaviours[kAsked] = {10, 0.1, true, {}};
    _views.behaviours[kShipped] = {10, 0.1, true, {}};
    begin();
    runForSeconds(1);
    EXPECT_EQ(_views.made().size(), 2U);
    EXPECT_THAT(_lines.back(), HasSubstr("tried again in 10 s"));
    _views.behaviours[kAsked] = {};
    runForSeconds(11);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, TriesLessAndLessOften) {
    _views.behaviours[kAsked] = {10, 0.1, true, {}};
    begin(kAsked);
    _views.behaviours[kShipped] = {10, 0.1, true, {}};
    runForSeconds(3600);
    EXPECT_GT(_views.made().size(), 10U);
    EXPECT_LT(_views.made().size(), 40U);
}

TEST_F(OutputShowTest, TriesAgainWhenThereCanBeNoProcess) {
    _views.isOutOfProcesses = true;
    begin();
    runForSeconds(1);
    EXPECT_EQ(_lines.size(), 1U);
    _views.isOutOfProcesses = false;
    runForSeconds(11);
    EXPECT_EQ(shown(), kAsked);
}

TEST_F(OutputShowTest, RemembersABundleThatRanForAWhile) {
    begin();
    runForSeconds(10);
    EXPECT_EQ(_lastGood.path(), "");
    runForSeconds(1);
    EXPECT_EQ(_lastGood.path(), kAsked);
}

TEST_F(OutputShowTest, RemembersNoBundleForTheTimeThatItRested) {
    begin();
    runForSeconds(5);
    _show->setRunning(false);
    runForSeconds(60);
    EXPECT_EQ(_lastGood.path(), "");
    _show->setRunning(true);
    runForSeconds(9);
    EXPECT_EQ(_lastGood.path(), "");
    runForSeconds(2);
    EXPECT_EQ(_lastGood.path(), kAsked);
}

TEST_F(OutputShowTest, RemembersABundleOnce) {
    begin();
    runForSeconds(12);
    _lastGood.set(kGood);
    _show->setRunning(false);
    _show->setRunning(true);
    runForSeconds(12);
    EXPECT_EQ(_lastGood.path(), kGood);
}

TEST_F(OutputShowTest, WaitsForNothingWhileTheViewRests) {
    begin();
    runForSeconds(5);
    _show->setRunning(false);
    runForSeconds(1);
    EXPECT_EQ(NSRunLoop::mainRunLoop().nextDeadline(), Clock::kNever);
}

TEST_F(OutputShowTest, LetsTheViewRest) {
    begin();
    runForSeconds(1);
    _show->setRunning(false);
    EXPECT_FALSE(_views.view(kAsked)->isRunning());
    const auto before = _surface.presentCount();
    runForSeconds(10);
    EXPECT_LE(_surface.presentCount(), before + 1);
    _show->setRunning(true);
    runForSeconds(1);
    EXPECT_GT(_surface.presentCount(), before + 30);
}

TEST_F(OutputShowTest, GivesAViewThatBeginsWhileItRestsItsFirstPicture) {
    begin();
    _show->setRunning(false);
    runForSeconds(2);
    EXPECT_EQ(shown(), kAsked);
    EXPECT_FALSE(_views.view(kAsked)->isRunning());
}

TEST_F(OutputShowTest, HandsInputToTheViewThatRuns) {
    begin();
    runForSeconds(1);
    FakeViews::View *view = _views.view(kAsked);
    _surface.listener()->tapped({3, 4});
    _surface.listener()->scrolledBy(5);
    _surface.listener()->scrollingEnded();
    EXPECT_EQ(view->taps(), std::vector<CGPoint>{(CGPoint{3, 4})});
    EXPECT_EQ(view->scrolled(), 5);
    EXPECT_EQ(view->scrollsFinished(), 1);
    _show->setRunning(false);
    _surface.listener()->tapped({3, 4});
    EXPECT_EQ(view->taps().size(), 1U);
}

TEST_F(OutputShowTest, HalvesThePetals) {
    begin();
    runForSeconds(1);
    _show->setHalved(true);
    runForSeconds(0.1);
    EXPECT_EQ(_show->status().petals, 15U);
    _show->setHalved(false);
    runForSeconds(0.1);
    EXPECT_EQ(_show->status().petals, 30U);
    _show->setHalved(true);
    _choice.petals = 11;
    _show->choose(_choice);
    runForSeconds(0.1);
    EXPECT_EQ(_show->status().petals, 6U);
    _choice.bundle = kGood;
    _show->choose(_choice);
    runForSeconds(1);
    EXPECT_EQ(_show->status().petals, 6U) << "the new view's too";
}

TEST_F(OutputShowTest, ReadsWholePicturesOnly) {
    begin();
    runForSeconds(1);
    std::uint32_t pixel = 0;
    const auto before = static_cast<std::uint32_t>(_views.view(kAsked)->frames());
    _show->readPicture([&pixel](const std::uint32_t *pixels, unsigned width, unsigned height) {
        EXPECT_EQ(width, kGeometry.width);
        EXPECT_EQ(height, kGeometry.height);
        pixel = *pixels;
    });
    EXPECT_EQ(pixel, 0U) << "the view may be drawing";
    runForSeconds(0.03);
    EXPECT_EQ(pixel, before + 1);
}

TEST_F(OutputShowTest, ReadsThePictureOfAViewThatRestsAtOnce) {
    begin();
    runForSeconds(1);
    _show->setRunning(false);
    bool hasPicture = false;
    _show->readPicture(
        [&](const std::uint32_t *pixels, unsigned, unsigned) { hasPicture = pixels != nullptr; });
    EXPECT_TRUE(hasPicture);
}

TEST_F(OutputShowTest, ReadsNoPictureWhereThereIsNone) {
    begin();
    bool hasPicture = true;
    _show->readPicture(
        [&](const std::uint32_t *pixels, unsigned, unsigned) { hasPicture = pixels != nullptr; });
    EXPECT_FALSE(hasPicture);
}

TEST_F(OutputShowTest, TellsOfTheVisibility) {
    begin();
    _surface.setVisibility(SurfaceVisibility::Covered);
    EXPECT_EQ(_visibilityChanges, 1);
    EXPECT_EQ(_show->visibility(), SurfaceVisibility::Covered);
}

} // namespace
