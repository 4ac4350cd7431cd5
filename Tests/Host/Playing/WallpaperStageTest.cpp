#include "Host/Playing/WallpaperStage.h"

#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/ScriptedRandom.h"
#include "Tests/Support/SimulatedTime.h"

#include "Platform/UIKit/UIScreen.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

using namespace Lumivera;

namespace {

class WallpaperStageTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        loop().setObservers(nullptr, nullptr);
        _stage.reset();
        SimulatedTimeTest::TearDown();
        UIScreen::setMainScreen(nullptr);
    }

    void open(const std::string &wallpaper) { openBundle(testBundle(_folder.path(), wallpaper)); }

    void openBundle(const std::string &path, WallpaperPart part = WallpaperPart::Whole) {
        _bundle.emplace(path);
        _settings.size = {100, 150};
        _stage.emplace(*_bundle, _settings, part);
        loop().setObservers([this] { _stage->callOutBegins(); },
                            [this] { _stage->callOutEnded(); });
    }

    void openPart(WallpaperPart part) { openBundle(shippedBundle("Lumivera.bundle"), part); }

    DeskTopView &view() { return _stage->view(); }

    /// How many subviews the visible view shows beside its background view.
    int shownPetalLayers() {
        int count = 0;
        for (NSUInteger i = 0; i < view().subviewCount(); ++i) {
            const UIView *const part = view().subviewAtIndex(i);
            count += part != view().bgView() && !part->isHidden() ? 1 : 0;
        }
        return count;
    }

    LogRecorder _log;
    TemporaryFolder _folder;
    WallpaperSettings _settings;
    std::optional<WallpaperBundle> _bundle;
    std::optional<WallpaperStage> _stage;
};

TEST_F(WallpaperStageTest, MakesTheScreenAsTheSettingsSay) {
    _settings.density = 2;
    open("TinyWallpaper");
    EXPECT_EQ(UIScreen::mainScreen()->bounds(), CGRectMake(0, 0, 100, 150));
    EXPECT_EQ(UIScreen::mainScreen()->scale(), 2);
    EXPECT_EQ(view().frame(), CGRectMake(0, 0, 100, 150));
}

TEST_F(WallpaperStageTest, GivesTheScreenItsNewSizeAtOnce) {
    open("TinyWallpaper");
    runForSeconds(1);
    _stage->resize({200, 90}, 3);
    EXPECT_EQ(UIScreen::mainScreen()->bounds(), CGRectMake(0, 0, 200, 90));
    EXPECT_EQ(UIScreen::mainScreen()->scale(), 3);
    EXPECT_EQ(_stage->root().frame(), CGRectMake(0, 0, 200, 90));
}

TEST_F(WallpaperStageTest, SeedsTheRandomNumbersAfterTheWallpaperHas) {
    const ScriptedRandom random;
    _settings.seed = 77;
    openBundle(shippedBundle("Lumivera.bundle"));
    runForSeconds(0.49);
    EXPECT_EQ(random.seed(), std::nullopt);
    runForSeconds(1);
    EXPECT_EQ(random.seed(), 77U);
    std::srand(5);
    runForSeconds(1);
    EXPECT_EQ(random.seed(), 5U) << "once for each view";
    _stage->resize({200, 90}, 1);
    runForSeconds(2);
    EXPECT_EQ(random.seed(), 77U);
}

TEST_F(WallpaperStageTest, KeepsTheViewWhenTheSizeIsTheSame) {
    open("TinyWallpaper");
    runForSeconds(1);
    const Retained<DeskTopView> old(&view());
    _stage->resize({100, 150}, 1);
    runForSeconds(2);
    EXPECT_EQ(&view(), old.get());
}

TEST_F(WallpaperStageTest, KeepsTheOffsetInAFreshView) {
    open("TinyWallpaper");
    runForSeconds(1);
    _stage->setRunning(false);
    _stage->scrollBy(-30);
    const Retained<DeskTopView> old(&view());
    _stage->resize({200, 90}, 1);
    runForSeconds(2);
    ASSERT_NE(&view(), old.get());
    EXPECT_EQ(view().offset(), -30);
    EXPECT_FALSE(view().isAnimating());
}

TEST_F(WallpaperStageTest, ShowsAFreshStillWallpaperInTheEnd) {
    open("StillWallpaper");
    runForSeconds(1);
    const Retained<DeskTopView> old(&view());
    _stage->resize({200, 90}, 1);
    runForSeconds(0.5);
    EXPECT_EQ(&view(), old.get());
    runForSeconds(15);
    EXPECT_NE(&view(), old.get());
    EXPECT_FALSE(view().isHidden());
    EXPECT_EQ(_stage->root().subviewCount(), 1u);
}

TEST_F(WallpaperStageTest, ShowsAllPartsByDefault) {
    openPart(WallpaperPart::Whole);
    runForSeconds(1);
    EXPECT_FALSE(view().bgView()->isHidden());
    EXPECT_GT(shownPetalLayers(), 0);
}

TEST_F(WallpaperStageTest, ShowsPetalsWithoutTheirBackgroundWhichKeepsItsFrame) {
    openPart(WallpaperPart::Petals);
    runForSeconds(1);
    EXPECT_TRUE(view().bgView()->isHidden());
    EXPECT_EQ(view().bgView()->frame(), CGRectMake(0, 0, 100, 150));
    EXPECT_GT(shownPetalLayers(), 0);
    view().bgView()->setHidden(false);
    runForSeconds(0.1);
    EXPECT_TRUE(view().bgView()->isHidden()) << "whatever the wallpaper does";
}

TEST_F(WallpaperStageTest, ShowsPetalsWithoutTheirBackgroundInAFreshViewToo) {
    openPart(WallpaperPart::Petals);
    runForSeconds(1);
    const Retained<DeskTopView> old(&view());
    _stage->resize({200, 90}, 1);
    runForSeconds(2);
    ASSERT_NE(&view(), old.get());
    EXPECT_FALSE(view().isHidden());
    EXPECT_TRUE(view().bgView()->isHidden());
    EXPECT_EQ(view().bgView()->frame(), CGRectMake(0, 0, 200, 90));
    EXPECT_GT(shownPetalLayers(), 0);
}

TEST_F(WallpaperStageTest, ShowsABackgroundWithoutPetals) {
    openPart(WallpaperPart::Background);
    runForSeconds(1);
    EXPECT_FALSE(view().bgView()->isHidden());
    EXPECT_GT(view().subviewCount(), 1U);
    EXPECT_EQ(shownPetalLayers(), 0);
}

TEST_F(WallpaperStageTest, LeavesNothingPendingWhenItGoesWhileItsSizeSettles) {
    open("TinyWallpaper");
    runForSeconds(1);
    _stage->resize({200, 90}, 1);
    loop().setObservers(nullptr, nullptr);
    _stage.reset();
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_F(WallpaperStageTest, KnowsThatAWallpaperHasNoPetals) {
    open("TinyWallpaper");
    runForSeconds(1);
    EXPECT_EQ(_stage->playedValues().petals, std::nullopt);
    EXPECT_EQ(_stage->playedValues().speed, 0);
}

} // namespace
