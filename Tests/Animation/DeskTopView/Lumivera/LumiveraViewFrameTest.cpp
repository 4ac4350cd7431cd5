#include "Tests/Animation/Support/PetalWallpaper.h"
#include "Tests/Support/ScriptedRandom.h"

#include <cmath>
#include <numbers>

namespace {

using testing::ElementsAre;

class LumiveraFrame : public PetalWallpaper {
  protected:
    /// Uses up the throttle's permission for a frame, so that the throttle counts from now.
    void spendTheThrottle() { ASSERT_TRUE(view().timeCome()); }

    /// Puts a petal out of bounds, where it stays for some frames.
    static void putOut(Sakura &petal) {
        petal.setCenter({160, 1000});
        SakuraProbe(petal).originSpeed() = {0, 1};
    }

    static bool isOut(const Sakura &petal) { return petal.center().y > 900; }
};

TEST_F(LumiveraFrame, FillsTheLayersWithPetalsOfTheirSizes) {
    load();
    ScriptedRandom random;
    makePetals(30);
    EXPECT_THAT(petalCounts(), ElementsAre(13, 10, 7));
    EXPECT_EQ(random.drawCount(), 30u * 6);
    const double scales[] = {2 * -0.2 + 1.0, 1 * -0.2 + 1.0, 1.0};
    EXPECT_DOUBLE_EQ(scales[0], 0.6);
    for (NSUInteger i = 0; i < 3; ++i) {
        for (NSUInteger j = 0; j < layerView(i).subviewCount(); ++j) {
            const Sakura &each = petal(i, j);
            EXPECT_EQ(each.scale(), scales[i]);
            const CGSize picture = each.image()->size();
            EXPECT_EQ(each.bounds().size,
                      CGSizeMake(picture.width * scales[i], picture.height * scales[i]));
            EXPECT_EQ(each.width(), 320u);
        }
    }
}

TEST_F(LumiveraFrame, MultipliesNewPetalsSizesByTheViewsScale) {
    load();
    view().setScale(0.5);
    makePetals(9);
    EXPECT_EQ(petal(0, 0).scale(), (2 * -0.2 + 1.0) * 0.5);
    EXPECT_EQ(petal(1, 0).scale(), (1 * -0.2 + 1.0) * 0.5);
    EXPECT_EQ(petal(2, 0).scale(), 0.5);
}

TEST_F(LumiveraFrame, ScattersNewPetalsAndMovesThemInTheSameFrame) {
    load();
    ScriptedRandom random{3, 0, 0, 1, 100, 200};
    makePetals(1);
    // One petal per layer; the first is of 20 × 30 at 0.6.
    const double scale = 2 * -0.2 + 1.0;
    const CGPoint start{20 * scale / 2 + 100, 30 * scale / 2 + 200};
    EXPECT_EQ(petal(0, 0).center(), CGPointMake(start.x + double{0.36f}, start.y + double{1.08f}));
}

/// A change of the petal count, and how many petals each layer has afterwards.
struct CountRow {
    std::vector<NSUInteger> counts;
    std::vector<NSUInteger> petals;
};

class LumiveraCount : public PetalWallpaper, public testing::WithParamInterface<CountRow> {};

TEST_P(LumiveraCount, IsReachedAsFarAsTheSplitAllows) {
    load();
    for (const NSUInteger count : GetParam().counts) {
        makePetals(count);
    }
    EXPECT_EQ(petalCounts(), GetParam().petals);
    makePetals(GetParam().counts.back());
    EXPECT_EQ(petalCounts(), GetParam().petals) << "never corrected later";
}

INSTANTIATE_TEST_SUITE_P(
    Changes, LumiveraCount,
    testing::Values(CountRow{{30}, {13, 10, 7}}, CountRow{{30, 60}, {26, 20, 14}},
                    CountRow{{30, 60, 45}, {20, 15, 10}}, CountRow{{30, 31}, {14, 11, 8}},
                    CountRow{{31}, {13, 10, 7}}, CountRow{{30, 2}, {1, 1, 1}},
                    CountRow{{30, 0}, {1, 1, 1}}, CountRow{{0}, {0, 0, 0}},
                    CountRow{{120}, {53, 40, 27}}, CountRow{{300}, {133, 100, 67}},
                    CountRow{{1, 9}, {3, 3, 3}}));

TEST_F(LumiveraFrame, AddsNewPetalsInFrontAndTrimsTheNewestFirst) {
    load();
    makePetals(30);
    const auto before = petals();
    makePetals(60);
    for (NSUInteger j = 0; j < 13; ++j) {
        EXPECT_EQ(&petal(0, j), before[j]);
    }
    makePetals(30);
    EXPECT_EQ(petals(), before);
}

TEST_F(LumiveraFrame, DrawsNothingWhenNothingLeavesTheScreen) {
    load();
    makePetals(30);
    ScriptedRandom random;
    view().doAnimating();
    EXPECT_EQ(random.drawCount(), 0u);
}

TEST_F(LumiveraFrame, MovesEveryPetalByOneStep) {
    load();
    makePetals(30);
    std::vector<CGPoint> expected;
    for (Sakura *each : petals()) {
        SakuraProbe probe(*each);
        probe.isXOffset() = false;
        expected.push_back({each->center().x + double{probe.originSpeed().x},
                            each->center().y + double{probe.originSpeed().y}});
    }
    view().doAnimating();
    const auto all = petals();
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i]->center(), expected[i]);
    }
}

TEST_F(LumiveraFrame, BringsAPetalThatIsOutBackAtTheTopInPlace) {
    load();
    makePetals(30);
    view().setSakuraScaleLevel(2);
    view().setSpeedLevel(1);
    view().setOffset(40);
    Sakura &leaver = petal(1, 4);
    putOut(leaver);
    ScriptedRandom random{13 * 5 + 3, 321, 23, 1};
    view().doAnimating();
    EXPECT_EQ(random.drawCount(), 4u);
    EXPECT_EQ(&petal(1, 4), &leaver);
    EXPECT_EQ(leaver.image()->fileName(), "lumivera_petal1.png");
    const double scale = 1 * -0.2 + 1.0;
    EXPECT_EQ(leaver.bounds().size, CGSizeMake(2 * 20.0 * scale, 2 * 30.0 * scale));
    EXPECT_EQ(leaver.frame().origin.x, 1 + 40.0);
    EXPECT_DOUBLE_EQ(leaver.frame().origin.y, 0.1 - 2 * 30.0 * scale);
    EXPECT_EQ(SakuraProbe(leaver).originSpeed(), (CppVector2D{-0.345f, 0.885f}));
    EXPECT_EQ(leaver.layer()->transform(), CATransform3DIdentity);
}

TEST_F(LumiveraFrame, BringsOnePetalBackInAnIntervalTheFirstInTheWalk) {
    load();
    makePetals(30);
    spendTheThrottle();
    Sakura &front = petal(2, 0);
    Sakura &older = petal(0, 3);
    Sakura &newer = petal(0, 4);
    putOut(front);
    putOut(older);
    putOut(newer);
    runForSeconds(0.2);
    view().doAnimating();
    EXPECT_FALSE(isOut(older));
    EXPECT_TRUE(isOut(newer));
    EXPECT_TRUE(isOut(front));
    runForSeconds(0.160);
    view().doAnimating();
    EXPECT_TRUE(isOut(newer)) << "a sixth of a second has not passed";
    EXPECT_GT(newer.center().y, 1001.5) << "it keeps falling meanwhile";
    runForSeconds(0.010);
    view().doAnimating();
    EXPECT_FALSE(isOut(newer));
    EXPECT_TRUE(isOut(front));
    runForSeconds(0.170);
    view().doAnimating();
    EXPECT_FALSE(isOut(front));
}

TEST_F(LumiveraFrame, BringsNoMoreThanOnePetalBackInAFrame) {
    load();
    makePetals(300);
    spendTheThrottle();
    for (Sakura *each : petals()) {
        putOut(*each);
    }
    runForSeconds(0.025);
    view().doAnimating();
    const auto all = petals();
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](Sakura *each) { return isOut(*each); }),
              299);
}

TEST_F(LumiveraFrame, SpendsNoTimeOnPetalsThatAreInBounds) {
    load();
    makePetals(30);
    spendTheThrottle();
    runForSeconds(0.2);
    view().doAnimating();
    EXPECT_TRUE(view().timeCome());
}

TEST_F(LumiveraFrame, LetsTimeComeAfterFiveSecondsShareOfAPetalTimesTheScale) {
    view().setSakuraCount(40);
    EXPECT_TRUE(view().timeCome());
    runForSeconds(0.125);
    EXPECT_FALSE(view().timeCome()) << "an eighth of a second is not more than one";
    runForSeconds(0.001);
    EXPECT_TRUE(view().timeCome());
    view().setScale(2);
    runForSeconds(0.250);
    EXPECT_FALSE(view().timeCome());
    runForSeconds(0.001);
    EXPECT_TRUE(view().timeCome());
}

TEST_F(LumiveraFrame, NeverBringsAPetalBackForACountOfZero) {
    load();
    makePetals(30);
    makePetals(0);
    EXPECT_THAT(petalCounts(), ElementsAre(1, 1, 1));
    putOut(petal(0, 0));
    for (int frame = 0; frame < 40; ++frame) {
        runForSeconds(1);
        view().doAnimating();
    }
    EXPECT_TRUE(isOut(petal(0, 0)));
}

TEST_F(LumiveraFrame, SendsAPetalOutAgainAtOnceWhenTheOffsetIsBeyondTheScreen) {
    load();
    makePetals(30);
    view().setOffset(1000);
    putOut(petal(0, 0));
    spendTheThrottle();
    for (int turn = 0; turn < 3; ++turn) {
        ScriptedRandom random;
        runForSeconds(0.2);
        view().doAnimating();
        EXPECT_EQ(random.drawCount(), 4u);
        EXPECT_GE(petal(0, 0).center().x, 1000.0);
        EXPECT_TRUE(view().isSakura_outOfBounds(&petal(0, 0), kFrame));
    }
}

TEST_F(LumiveraFrame, ShowsNothingForAPetalWhosePictureIsMissing) {
    load();
    makePetals(30);
    view().setSakuraImageNames(
        makeRetained<NSArray<std::string>>(std::vector<std::string>{"missing.png"}));
    putOut(petal(0, 0));
    view().doAnimating();
    EXPECT_FALSE(petal(0, 0).image());
    EXPECT_FALSE(isOut(petal(0, 0)));
}

TEST_F(LumiveraFrame, ShowsNothingForAPetalWithoutAnyNamesToDrawFrom) {
    load();
    makePetals(30);
    spendTheThrottle();
    const Retained<NSArray<std::string>> lists[] = {
        nullptr, makeRetained<NSArray<std::string>>(std::vector<std::string>())};
    for (NSUInteger i = 0; i < 2; ++i) {
        view().setSakuraImageNames(lists[i]);
        putOut(petal(0, i));
        runForSeconds(0.2);
        ScriptedRandom random;
        view().doAnimating();
        EXPECT_EQ(random.drawCount(), 4u) << "the draw is made all the same";
        EXPECT_FALSE(petal(0, i).image());
        EXPECT_FALSE(isOut(petal(0, i)));
    }
}

class LumiveraBounds : public PetalWallpaper {
  protected:
    /// Whether a petal of 20 × 30 with that centre is out of a rectangle of 320 × 480.
    bool isOut(CGFloat x, CGFloat y, const CGRect &rect = kFrame) {
        _petal->setCenter({x, y});
        return view().isSakura_outOfBounds(_petal.get(), rect);
    }

    Sakura &petalOfBounds() { return *_petal; }

  private:
    Retained<Sakura> _petal = Sakura::initWithImage_scale_speed(pictureOfSize(20, 30), 1, 1);
};

TEST_F(LumiveraBounds, EndAWholePetalBeyondEachEdge) {
    const double little = 1e-9;
    EXPECT_FALSE(isOut(-20, 100));
    EXPECT_TRUE(isOut(-20 - little, 100));
    EXPECT_FALSE(isOut(340, 100));
    EXPECT_TRUE(isOut(340 + little, 100));
    EXPECT_FALSE(isOut(100, -30));
    EXPECT_TRUE(isOut(100, -30 - little));
    EXPECT_FALSE(isOut(100, 510));
    EXPECT_TRUE(isOut(100, 510 + little));
}

TEST_F(LumiveraBounds, HoldAPetalThatJustReentered) {
    petalOfBounds().resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(
        pictureOfSize(20, 30), 1, 1, 0);
    EXPECT_FALSE(view().isSakura_outOfBounds(&petalOfBounds(), kFrame));
}

TEST_F(LumiveraBounds, StartAtZeroWhateverTheRectanglesOrigin) {
    EXPECT_FALSE(isOut(-20, 100, CGRectMake(500, 500, 320, 480)));
    EXPECT_FALSE(isOut(340, 510, CGRectMake(-500, -500, 320, 480)));
}

TEST_F(LumiveraBounds, WidenWithTheBoxAroundATurnedPetal) {
    petalOfBounds().layer()->setTransform(CATransform3DMakeRotation(std::numbers::pi / 2, 0, 0, 1));
    EXPECT_FALSE(isOut(-29.9, 100));
    EXPECT_TRUE(isOut(100, -20.1));
}

TEST_F(LumiveraBounds, AreThoseOfTheBackgroundView) {
    load();
    makePetals(9);
    view().bgView()->setFrame(CGRectMake(0, 0, 50, 50));
    Sakura &leaver = petal(0, 0);
    leaver.setCenter({160, 300});
    ScriptedRandom random;
    view().doAnimating();
    EXPECT_GE(random.drawCount(), 4u);
}

} // namespace
