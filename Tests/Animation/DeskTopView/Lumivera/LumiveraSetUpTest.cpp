#include "Tests/Animation/Support/PetalWallpaper.h"
#include "Tests/Support/ScriptedRandom.h"

#include <array>
#include <ctime>
#include <string_view>

namespace {

using testing::ElementsAre;

class LumiveraSetUp : public PetalWallpaper {};

TEST_F(LumiveraSetUp, StartsWithThirtyPetalsWantedAndNothingLoaded) {
    EXPECT_EQ(std::string_view(LumiveraView::name()), "");
    EXPECT_EQ(std::string_view(LumiveraView::version()), "");
    EXPECT_TRUE(view().isUserInteractionEnabled());
    EXPECT_EQ(view().sakuraCount(), 30u);
    EXPECT_FALSE(view().sakuraImageNames());
    EXPECT_EQ(view().sakuraMaskColor(), nullptr);
    EXPECT_FALSE(view().descriptionFile());
    EXPECT_EQ(view().sakuraScaleLevel(), 0);
    EXPECT_EQ(view().subviewCount(), 1u);
    EXPECT_FALSE(view().bgView()->image());
}

TEST_F(LumiveraSetUp, LoadsItsResourcesHalfASecondLaterAndStarts) {
    ScriptedRandom random;
    runForSeconds(0.499);
    EXPECT_EQ(view().subviewCount(), 1u);
    EXPECT_FALSE(view().isAnimating());
    const auto before = std::time(nullptr);
    runForSeconds(0.001);
    runForSeconds(0.001);
    const auto after = std::time(nullptr);
    EXPECT_TRUE(view().isAnimating());
    EXPECT_EQ(view().bgView()->image()->size(), CGSizeMake(32, 48));
    EXPECT_EQ(view().sakuraScaleLevel(), 1);
    EXPECT_GE(random.seed(), static_cast<unsigned>(before));
    EXPECT_LE(random.seed(), static_cast<unsigned>(after));
    EXPECT_THAT(petalCounts(), ElementsAre(13, 10, 7));
}

TEST_F(LumiveraSetUp, InstallsThirteenNamesInTheirOrder) {
    load();
    EXPECT_THAT(view().sakuraImageNames()->items(),
                ElementsAre("lumivera_flower1.png", "lumivera_flower2.png", "lumivera_flower3.png",
                            "lumivera_petal1.png", "lumivera_petal3.png", "lumivera_petal4.png",
                            "lumivera_petal1.png", "lumivera_petal2.png", "lumivera_petal3.png",
                            "lumivera_petal1.png", "lumivera_petal2.png", "lumivera_petal3.png",
                            "lumivera_petal4.png"));
}

TEST_F(LumiveraSetUp, MakesThreeLayersOverTheBackgroundEachMoreOpaque) {
    load();
    ASSERT_EQ(view().subviewCount(), 4u);
    EXPECT_EQ(view().subviewAtIndex(0), view().bgView());
    const float opacities[] = {0.45f, 0.6f, 0.75f};
    for (NSUInteger i = 0; i < 3; ++i) {
        EXPECT_EQ(layerView(i).frame(), kFrame);
        EXPECT_EQ(layerView(i).autoresizingMask(), 18u);
        EXPECT_EQ(layerView(i).layer()->opacity(), opacities[i]);
        EXPECT_EQ(layerView(i).layer()->opacity(),
                  static_cast<float>(static_cast<double>(i) * 0.15 + 0.45));
        EXPECT_EQ(layerView(i).subviewCount(), 0u);
    }
}

TEST_F(LumiveraSetUp, MakesItsLayersAsLargeAsTheViewIsByThen) {
    view().setFrame(CGRectMake(0, 0, 1280, 800));
    load();
    EXPECT_EQ(layerView(2).frame(), CGRectMake(0, 0, 1280, 800));
    view().setFrame(CGRectMake(0, 0, 640, 400));
    EXPECT_EQ(layerView(0).frame(), CGRectMake(0, 0, 640, 400));
}

TEST_F(LumiveraSetUp, ShowsNothingBehindThePetalsWithoutABackgroundPicture) {
    std::filesystem::remove(bundle().folder().pathOf("lumivera_background_.png"));
    load();
    EXPECT_FALSE(view().bgView()->image());
    EXPECT_EQ(view().subviewCount(), 4u);
}

TEST_F(LumiveraSetUp, StaysEmptyWhenItWasStartedBeforeItLoadedUntilTheCountChanges) {
    view().startAnimating();
    runForSeconds(2);
    EXPECT_EQ(view().operationQueue().operationCount(), 1u) << "loading starts no second loop";
    EXPECT_THAT(petalCounts(), ElementsAre(0, 0, 0));
    view().setSakuraCount(29);
    runForSeconds(0.1);
    EXPECT_THAT(petalCounts(), ElementsAre(0, 0, 0)) << "a smaller count only trims";
    view().setSakuraCount(59);
    runForSeconds(0.1);
    EXPECT_THAT(petalCounts(), ElementsAre(13, 10, 7)) << "the difference";
}

TEST_F(LumiveraSetUp, ForgetsAColorThatWasSetBeforeItLoadedWithoutReleasingIt) {
    const auto color = UIColor::colorWithRed_green_blue_alpha(1, 0, 0, 1);
    view().setSakuraMaskColor(color);
    EXPECT_EQ(view().sakuraMaskColor(), color.get());
    load();
    EXPECT_EQ(view().sakuraMaskColor(), nullptr);
    EXPECT_EQ(color->retainCount(), 2u);
    color->release();
}

TEST_F(LumiveraSetUp, KeepsAColorWithoutAnyEffectOnThePetals) {
    load();
    makePetals(9);
    const auto image = petal(0, 0).image();
    const CGColor background = petal(0, 0).layer()->backgroundColor();
    const auto color = UIColor::colorWithRed_green_blue_alpha(1, 0, 0, 1);
    view().setSakuraMaskColor(color);
    view().setSakuraMaskColor(color);
    EXPECT_EQ(color->retainCount(), 2u);
    EXPECT_EQ(petal(0, 0).image(), image);
    EXPECT_EQ(petal(0, 0).maskColor(), nullptr);
    EXPECT_EQ(petal(0, 0).layer()->backgroundColor(), background);
    view().setSakuraMaskColor(nullptr);
    EXPECT_EQ(color->retainCount(), 1u);
}

/// A description's lines and what the view takes from them.
struct DescriptionRow {
    const char *entries;
    NSUInteger count;
    NSInteger level;
};

class LumiveraDescription : public PetalWallpaper,
                            public testing::WithParamInterface<DescriptionRow> {};

/// The level that the view passes to its petals, derived from a petal's motion.
NSInteger levelOf(LumiveraView &view) {
    const auto layer = UIView::initWithFrame(CGRectMake(0, 0, 320, 480));
    ScriptedRandom random{0, 0, 0, 1};
    view.setSakuraImageNames(makeRetained<NSArray<std::string>>(std::vector<std::string>{"none"}));
    view.generateSakuraWithType_withScale_inView(2, 1, layer.get());
    auto &petal = static_cast<Sakura &>(*layer->subviewAtIndex(0));
    return std::lround(SakuraProbe(petal).originSpeed().x / 0.18);
}

TEST_P(LumiveraDescription, GivesCountAndLevel) {
    bundle().describe(GetParam().entries);
    view().readDescriptionFileWithBundle(bundle().open().get());
    ASSERT_TRUE(view().descriptionFile());
    EXPECT_EQ(view().sakuraCount(), GetParam().count);
    // Level 0 moves like level 2.
    EXPECT_EQ(levelOf(view()), GetParam().level == 0 ? 2 : GetParam().level);
    EXPECT_EQ(view().speedLevel(), 0);
}

#define COUNT(value) "<key>sakura Count</key>" value
#define SPEED(value) "<key>falling Speed</key>" value

INSTANTIATE_TEST_SUITE_P(Counts, LumiveraDescription,
                         testing::Values(DescriptionRow{COUNT("<integer>-5</integer>"), 1, 0},
                                         DescriptionRow{COUNT("<integer>0</integer>"), 120, 0},
                                         DescriptionRow{COUNT("<integer>1</integer>"), 1, 0},
                                         DescriptionRow{COUNT("<integer>300</integer>"), 300, 0},
                                         DescriptionRow{COUNT("<integer>301</integer>"), 300, 0},
                                         DescriptionRow{COUNT("<integer>5000</integer>"), 300, 0},
                                         DescriptionRow{"", 120, 0},
                                         DescriptionRow{
                                             "<key>sakura count</key><integer>5</integer>", 120, 0},
                                         DescriptionRow{COUNT("<real>7.9</real>"), 7, 0},
                                         DescriptionRow{COUNT("<true/>"), 1, 0},
                                         DescriptionRow{COUNT("<false/>"), 120, 0},
                                         DescriptionRow{COUNT("<string>12 petals</string>"), 12, 0},
                                         DescriptionRow{COUNT("<string>petals</string>"), 120, 0},
                                         DescriptionRow{COUNT("<array/>"), 120, 0}));

INSTANTIATE_TEST_SUITE_P(
    Speeds, LumiveraDescription,
    testing::Values(DescriptionRow{SPEED("<integer>-3</integer>"), 120, 0},
                    DescriptionRow{SPEED("<integer>7</integer>"), 120, 7},
                    DescriptionRow{SPEED("<integer>1000</integer>"), 120, 1000},
                    DescriptionRow{SPEED("<string>3</string>"), 120, 3},
                    DescriptionRow{SPEED("<dict/>"), 120, 0},
                    DescriptionRow{COUNT("<integer>5</integer>") SPEED("<integer>1</integer>"), 5,
                                   1}));

TEST_F(LumiveraSetUp, AppliesNothingWithoutADescription) {
    view().readDescriptionFileWithBundle(bundle().open().get());
    EXPECT_FALSE(view().descriptionFile());
    EXPECT_EQ(view().sakuraCount(), 30u);
    bundle().folder().write("description.plist", "no property list");
    view().readDescriptionFileWithBundle(bundle().open().get());
    EXPECT_EQ(view().sakuraCount(), 30u);
    bundle().folder().write("description.plist", "<plist version=\"1.0\"><array/></plist>");
    view().readDescriptionFileWithBundle(bundle().open().get());
    EXPECT_EQ(view().sakuraCount(), 30u);
    view().readDescriptionFileWithBundle(nullptr);
    EXPECT_EQ(view().sakuraCount(), 30u);
}

TEST_F(LumiveraSetUp, ForgetsADescriptionWhenTheNextOneCannotBeRead) {
    bundle().describe(COUNT("<integer>5</integer>"));
    view().readDescriptionFileWithBundle(bundle().open().get());
    EXPECT_EQ(*view().descriptionFile()->objectForKey("sakura Count"), PropertyList(5));
    std::filesystem::remove(bundle().folder().pathOf("description.plist"));
    view().readDescriptionFileWithBundle(bundle().open().get());
    EXPECT_FALSE(view().descriptionFile());
    EXPECT_EQ(view().sakuraCount(), 5u);
}

std::vector<NSUInteger> split(NSUInteger total, NSUInteger levels) {
    std::vector<NSUInteger> counts(levels + 1, 777);
    LumiveraView::calculateLevelCount_withTotal_withLevels(counts.data(), total, levels);
    EXPECT_EQ(counts.back(), 777u) << "writes no more than it should";
    counts.pop_back();
    return counts;
}

TEST(LumiveraSplit, GivesTheBackLayerTheMost) {
    const struct {
        NSUInteger total;
        std::array<NSUInteger, 3> counts;
    } rows[] = {{0, {1, 1, 1}},    {1, {1, 1, 1}},    {2, {1, 1, 1}},      {3, {1, 1, 1}},
                {4, {1, 1, 1}},    {5, {1, 1, 1}},    {9, {4, 3, 2}},      {10, {4, 3, 2}},
                {30, {13, 10, 7}}, {31, {13, 10, 7}}, {120, {53, 40, 27}}, {300, {133, 100, 67}},
                {45, {20, 15, 10}}};
    for (const auto &row : rows) {
        EXPECT_THAT(split(row.total, 3), testing::ElementsAreArray(row.counts)) << row.total;
    }
}

TEST(LumiveraSplit, WorksForOtherNumbersOfLayers) {
    EXPECT_THAT(split(10, 1), ElementsAre(10));
    EXPECT_THAT(split(10, 2), ElementsAre(7, 5));
    EXPECT_THAT(split(100, 5), ElementsAre(28, 24, 20, 16, 12));
}

TEST(LumiveraSplit, WritesNothingForNoLayers) { EXPECT_THAT(split(10, 0), ElementsAre()); }

class LumiveraNames : public PetalWallpaper {
  protected:
    static Retained<NSArray<std::string>> list(std::vector<std::string> names) {
        return makeRetained<NSArray<std::string>>(std::move(names));
    }
};

TEST_F(LumiveraNames, DrawNothingWhenTheVeryListIsSetAgain) {
    load();
    makePetals(30);
    ScriptedRandom random;
    view().setSakuraImageNames(view().sakuraImageNames());
    EXPECT_EQ(random.drawCount(), 0u);
}

TEST_F(LumiveraNames, GiveEveryPetalANewPictureAndNothingElse) {
    load();
    makePetals(9);
    std::vector<CGRect> frames;
    std::vector<CppVector2D> speeds;
    for (Sakura *petal : petals()) {
        frames.push_back(petal->frame());
        speeds.push_back(SakuraProbe(*petal).originSpeed());
    }
    ScriptedRandom random{0, 1, 2, 3, 4, 5, 6, 7, 2147483647};
    view().setSakuraImageNames(list({"lumivera_petal2.png", "lumivera_petal4.png", "missing.png"}));
    EXPECT_EQ(random.drawCount(), 9u);
    const auto all = petals();
    for (std::size_t i = 0; i < all.size(); ++i) {
        // 2147483647 leaves 1 as well.
        const std::size_t name = i == 8 ? 1 : i % 3;
        ASSERT_EQ(bool(all[i]->image()), name != 2) << i;
        if (name != 2) {
            EXPECT_EQ(all[i]->image()->fileName(),
                      name == 0 ? "lumivera_petal2.png" : "lumivera_petal4.png");
        }
        EXPECT_EQ(all[i]->frame(), frames[i]);
        EXPECT_EQ(SakuraProbe(*all[i]).originSpeed(), speeds[i]);
    }
}

TEST_F(LumiveraNames, AreDrawnAnewForAnEqualListThatIsAnotherObject) {
    load();
    makePetals(9);
    ScriptedRandom random;
    view().setSakuraImageNames(list(view().sakuraImageNames()->items()));
    EXPECT_EQ(random.drawCount(), 9u);
}

TEST_F(LumiveraNames, AreRetainedAndReleased) {
    const auto names = list({"a"});
    view().setSakuraImageNames(names);
    EXPECT_EQ(names->retainCount(), 2u);
    view().setSakuraImageNames(nullptr);
    EXPECT_EQ(names->retainCount(), 1u);
    EXPECT_FALSE(view().sakuraImageNames());
}

TEST_F(LumiveraNames, CanBeTakenAwayWithoutTouchingThePetals) {
    load();
    makePetals(9);
    const auto image = petal(0, 0).image();
    ScriptedRandom random;
    view().setSakuraImageNames(nullptr);
    EXPECT_EQ(random.drawCount(), 0u);
    EXPECT_EQ(petal(0, 0).image(), image);
}

/// One new petal of picture 3, 20 × 30, in the middle layer.
class LumiveraPlacement : public PetalWallpaper {
  protected:
    Sakura &place(std::int32_t type, CGFloat scale) {
        view().generateSakuraWithType_withScale_inView(type, scale, &layerView(1));
        return petal(1, layerView(1).subviewCount() - 1);
    }
};

TEST_F(LumiveraPlacement, TakesSixDrawsForAScatteredPetalInTheirOrder) {
    load();
    ScriptedRandom random{13 + 3, 999, 23, 5, 310 + 2, 465 + 3};
    Sakura &petal = place(1, 1);
    EXPECT_EQ(random.drawCount(), 6u);
    EXPECT_EQ(random.leftCount(), 0u);
    EXPECT_EQ(petal.image()->fileName(), "lumivera_petal1.png");
    EXPECT_EQ(SakuraProbe(petal).originSpeed(), (CppVector2D{-0.705f, 1.425f}));
    EXPECT_TRUE(SakuraProbe(petal).isXOffset());
    EXPECT_EQ(petal.center(), CGPointMake(10 + 2, 15 + 3));
    EXPECT_EQ(petal.scale(), 1.0);
    EXPECT_EQ(petal.retainCount(), 1u) << "the layer is its only owner";
}

TEST_F(LumiveraPlacement, ScattersCentresFromHalfASizeToThePointBeforeTheFarEdge) {
    load();
    ScriptedRandom random;
    random.add({3, 0, 0, 1, 0, 0});
    EXPECT_EQ(place(1, 1).center(), CGPointMake(10, 15));
    random.add({3, 0, 0, 1, 309, 464});
    EXPECT_EQ(place(1, 1).center(), CGPointMake(319, 479));
    random.add({3, 0, 0, 1, 310, 465});
    EXPECT_EQ(place(1, 1).center(), CGPointMake(10, 15));
}

TEST_F(LumiveraPlacement, TruncatesTheDifferenceThatLimitsTheCentre) {
    load();
    // Half of 20 × 30 at 0.25 is 2.5 × 3.75: the limits are 317 and 476.
    ScriptedRandom random{3, 0, 0, 1, 317, 476};
    EXPECT_EQ(place(1, 0.25).center(), CGPointMake(2.5, 3.75));
    random.add({3, 0, 0, 1, 316, 475});
    EXPECT_EQ(place(1, 0.25).center(), CGPointMake(318.5, 478.75));
}

TEST_F(LumiveraPlacement, LetsAPetalEnterFromTheTop) {
    load();
    ScriptedRandom random{3, 0, 0, 1, 319};
    EXPECT_EQ(place(0, 1).center(), CGPointMake(319, -15 + 0.1));
    EXPECT_EQ(random.drawCount(), 5u);
    random.add({3, 0, 0, 1, 320});
    EXPECT_EQ(place(0, 1).center().x, 0.0);
}

TEST_F(LumiveraPlacement, LeavesAPetalOfAnyOtherTypeWhereItWasMade) {
    load();
    ScriptedRandom random{3, 50, 0, 1};
    EXPECT_EQ(place(2, 1).center(), CGPointMake(50 + 10, (0.1 - 30) + 15));
    EXPECT_EQ(random.drawCount(), 4u);
}

TEST_F(LumiveraPlacement, DropsTheNewestPetalInFront) {
    load();
    Sakura &first = place(1, 1);
    Sakura &second = place(1, 1);
    EXPECT_EQ(&petal(1, 0), &first);
    EXPECT_EQ(&petal(1, 1), &second);
}

TEST_F(LumiveraPlacement, GivesThePetalTheWidthOfTheViewsOwnScaledFrame) {
    load();
    view().setScale(0.5);
    EXPECT_EQ(place(1, 1).width(), 160u);
    view().setFrame(CGRectMake(0, 0, 99.9, 480));
    EXPECT_EQ(place(1, 1).width(), 99u);
}

TEST_F(LumiveraPlacement, MakesAPetalEvenWithoutAPicture) {
    std::filesystem::remove(bundle().folder().pathOf("lumivera_petal1.png"));
    load();
    ScriptedRandom random{3, 0, 0, 1, 319, 479};
    Sakura &petal = place(1, 1);
    EXPECT_FALSE(petal.image());
    EXPECT_EQ(petal.center(), CGPointMake(319, 479));
}

TEST_F(LumiveraPlacement, KeepsDrawingInALayerThatIsTooSmallForAChoice) {
    load();
    view().setFrame(CGRectMake(0, 0, 0, 0));
    ScriptedRandom random{3, 0, 0, 1, 12, 16};
    EXPECT_EQ(place(1, 1).center(), CGPointMake(10 + 2, 15 + 1)) << "the remainder keeps its sign";
    view().setFrame(CGRectMake(0, 0, 10, 15));
    random.add({3, 0, 0, 1, 12, 16});
    EXPECT_EQ(place(1, 1).center(), CGPointMake(10, 15));
    EXPECT_EQ(random.leftCount(), 0u);
}

} // namespace
