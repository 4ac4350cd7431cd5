#include "Tests/Animation/Support/PetalWallpaper.h"
#include "Tests/Support/ScriptedRandom.h"

#include <limits>
#include <optional>

// A class derived from the petal wallpaper overrides its members: which are called, and when.

namespace {

using testing::ElementsAre;

/// A view's state at one moment.
struct Moment {
    Moment(const LumiveraView &view, const ScriptedRandom &random)
        : subviews(view.subviewCount()), hasNames(bool(view.sakuraImageNames())),
          scaleLevel(view.sakuraScaleLevel()), isAnimating(view.isAnimating()),
          isSeeded(random.seed().has_value()), draws(random.drawCount()) {}

    NSUInteger subviews;
    bool hasNames;
    std::int32_t scaleLevel;
    bool isAnimating;
    bool isSeeded;
    std::size_t draws;
};

class WatchedPetals final : public LumiveraView {
  public:
    explicit WatchedPetals(const CGRect &frame) : LumiveraView(frame) {}

    void setBackgroundImage(Retained<UIImage> image) override {
        background = image;
        atBackground.emplace(*this, random);
        LumiveraView::setBackgroundImage(std::move(image));
    }

    void startAnimating() override { starts.emplace_back(*this, random); }

    void setSpeedLevel(NSInteger level) override {
        levels.push_back(level);
        LumiveraView::setSpeedLevel(level);
    }

    void tapActionAtViewPoint(CGPoint point) override { taps.push_back(point); }

    ScriptedRandom random;
    Retained<UIImage> background;
    std::optional<Moment> atBackground;
    std::vector<Moment> starts;
    std::vector<NSInteger> levels;
    std::vector<CGPoint> taps;
};

class LumiveraOverrides : public PetalWallpaper {
  protected:
    Retained<WatchedPetals> watched = makeRetained<WatchedPetals>(kFrame);
};

TEST_F(LumiveraOverrides, SeeTheBackgroundBeforeAnythingElse) {
    watched->initResource();
    EXPECT_EQ(watched->bgView()->image(), watched->background);
    ASSERT_TRUE(watched->background);
    ASSERT_TRUE(watched->atBackground);
    EXPECT_EQ(watched->background->fileName(), "lumivera_background_.png");
    EXPECT_FALSE(watched->atBackground->isSeeded);
    EXPECT_FALSE(watched->atBackground->hasNames);
    EXPECT_EQ(watched->atBackground->subviews, 1u);
}

TEST_F(LumiveraOverrides, AreStartedWhenEverythingIsThereAndNothingWasDrawn) {
    watched->setSakuraScaleLevel(5);
    watched->initResource();
    ASSERT_EQ(watched->starts.size(), 1u);
    const Moment &start = watched->starts[0];
    EXPECT_TRUE(start.isSeeded);
    EXPECT_TRUE(start.hasNames);
    EXPECT_EQ(start.subviews, 4u);
    EXPECT_EQ(start.scaleLevel, 1) << "whatever a host had set";
    EXPECT_FALSE(start.isAnimating);
    EXPECT_EQ(start.draws, 0u);
}

TEST_F(LumiveraOverrides, AreGivenTheDescriptionsSpeedLevelWhateverItsSize) {
    for (const char *level : {"2147483647", "-2147483648", "0", "9999"}) {
        bundle().describe(std::string("<key>falling Speed</key><integer>") + level + "</integer>");
        watched->readDescriptionFileWithBundle(bundle().open().get());
    }
    EXPECT_THAT(watched->levels, ElementsAre(2147483647, 0, 0, 9999));
}

TEST_F(LumiveraOverrides, AreTappedByGestureTwo) {
    watched->gestureAction_atPoint(1, {3, 4});
    watched->gestureAction_atPoint(2, {5, 6});
    EXPECT_THAT(watched->taps, ElementsAre(CGPointMake(5, 6)));
}

TEST_F(LumiveraOverrides, HaveEmptiedTheCacheWhenTheBaseBeginsToDie) {
    watched->initResource();
    const auto picture = std::move(watched->background);
    EXPECT_EQ(picture->retainCount(), 3u) << "ours, the cache's and the background view's";
    std::vector<NSUInteger> references;
    NSLogSetSink([&](std::string_view) { references.push_back(picture->retainCount()); });
    loop().cancelPreviousPerformRequestsWithTarget(watched.get(), "delayLoading");
    watched = nullptr;
    NSLogSetSink(nullptr);
    EXPECT_THAT(references, ElementsAre(2u)) << "ours and the background view's";
}

} // namespace
