#include "Host/Commands/Gallery/ExhibitStage.h"

#include "Host/Commands/Gallery/GalleryPictures.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <set>
#include <sstream>

using namespace Lumivera;

namespace {

/// The visible properties of a stage.
struct Look {
    LayerValues flower;
    LayerValues view;
    friend bool operator==(const Look &, const Look &) = default;
};

double largestDifference(const CATransform3D &a, const CATransform3D &b) {
    double largest = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        largest = std::max<double>(largest, std::abs((&a.m11)[i] - (&b.m11)[i]));
    }
    return largest;
}

double largestDifference(const LayerValues &a, const LayerValues &b) {
    double largest = std::max(largestDifference(a.transform, b.transform),
                              largestDifference(a.sublayerTransform, b.sublayerTransform));
    for (const double difference :
         {a.position.x - b.position.x, a.position.y - b.position.y,
          a.bounds.size.width - b.bounds.size.width, a.bounds.size.height - b.bounds.size.height,
          static_cast<double>(a.opacity - b.opacity)}) {
        largest = std::max(largest, std::abs(difference));
    }
    return largest;
}

double largestDifference(const Look &a, const Look &b) {
    return std::max(largestDifference(a.flower, b.flower), largestDifference(a.view, b.view));
}

/// One exhibit on a stage of 100 points, in simulated time.
class ExhibitTest : public SimulatedTimeTest, public ::testing::WithParamInterface<std::size_t> {
  protected:
    void TearDown() override {
        _stage.reset();
        SimulatedTimeTest::TearDown();
    }

    const Exhibit &exhibit() const { return allExhibits()[GetParam()]; }
    ExhibitStage &stage() { return *_stage; }

    Look look() {
        const NSTimeInterval time = CACurrentMediaTime();
        Look look{_stage->flower().layer()->presentationAt(time),
                  _stage->view().layer()->presentationAt(time)};
        look.view.sublayerTransform.m34 = 0; // a plane that is not tilted shows no perspective
        return look;
    }

    /// Begins, and runs to a moment of the first round.
    void playFor(double seconds) {
        _stage->play();
        runForSeconds(seconds);
    }

    bool hasAnimations() {
        return _stage->flower().layer()->hasAnimations() || _stage->view().layer()->hasAnimations();
    }

  private:
    GalleryPictures _pictures{shippedBundle("Lumivera.bundle")};
    std::optional<ExhibitStage> _stage{std::in_place, allExhibits()[GetParam()],
                                       _pictures.flower(0), _pictures.tile(),
                                       CGRect{{10, 20}, {100, 100}}};
};

TEST_P(ExhibitTest, MovesInEveryRoundAndEndsWhereItBegan) {
    const Look rest = look();
    stage().play();
    for (int round = 0; round < 3; ++round) {
        runForSeconds(exhibit().pass / 3);
        EXPECT_GT(largestDifference(look(), rest), 0.1);
        runForSeconds(exhibit().period - exhibit().pass / 3 - 0.001);
        EXPECT_LT(largestDifference(look(), rest), 1e-6) << "round " << round;
        runForSeconds(0.001);
    }
}

TEST_P(ExhibitTest, RepeatsItsRoundsToTheBit) {
    playFor(exhibit().pass * 0.4);
    const Look first = look();
    runForSeconds(2 * exhibit().period);
    EXPECT_LT(largestDifference(look(), first), 1e-9);
}

TEST_P(ExhibitTest, NeverStandsStillForLong) {
    stage().play();
    Look last = look();
    int still = 0, longest = 0;
    for (int frame = 0; frame < 480; ++frame) {
        runForSeconds(0.025);
        still = look() == last ? still + 1 : 0;
        longest = std::max(longest, still);
        last = look();
    }
    EXPECT_LT(longest * 0.025, 1);
}

TEST_P(ExhibitTest, HoldsWhatItShowsAndLeavesNothingRunning) {
    playFor(exhibit().pass / 3);
    const Look shown = look();
    stage().hold();
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
    EXPECT_FALSE(hasAnimations());
    const Look held = look();
    runForSeconds(2 * exhibit().period);
    EXPECT_EQ(look(), held);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_P(ExhibitTest, BeginsAnewInTheMiddleOfARound) {
    playFor(exhibit().pass / 3);
    const Look shown = look();
    runForSeconds(exhibit().pass / 5);
    playFor(exhibit().pass / 3);
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
}

TEST_P(ExhibitTest, BeginsAnewAfterItWasHeld) {
    playFor(exhibit().pass / 3);
    const Look shown = look();
    stage().hold();
    runForSeconds(1);
    playFor(exhibit().pass / 3);
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
}

TEST_P(ExhibitTest, HoldsAtAGivenMoment) {
    playFor(exhibit().pass / 3);
    const Look shown = look();
    stage().play();
    stage().holdAfter(exhibit().pass / 3);
    runForSeconds(5);
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
}

TEST_P(ExhibitTest, StaysOnItsStage) {
    stage().play();
    for (int frame = 0; frame < 160; ++frame) {
        runForSeconds(0.025);
        const LayerValues flower = look().flower;
        const double x = flower.position.x + flower.transform.m41;
        const double y = flower.position.y + flower.transform.m42;
        const double half = std::max(flower.bounds.size.width, flower.bounds.size.height) / 2 *
                            std::hypot(flower.transform.m11, flower.transform.m12);
        EXPECT_GE(x - half, 0);
        EXPECT_LE(x + half, 100);
        EXPECT_GE(y - half, 0);
        EXPECT_LE(y + half, 100);
    }
}

TEST_P(ExhibitTest, SaysWhatRuns) {
    playFor(0);
    Retained<CAAnimation> animation;
    for (const char *key :
         {"translation", "scale", "rotation", "opacity", "perspective", "gallery"}) {
        for (CALayer *layer : {stage().flower().layer(), stage().view().layer()}) {
            animation = animation ? animation : layer->animationForKey(key);
        }
    }
    ASSERT_TRUE(animation);
    std::ostringstream expected;
    expected << animation->timing().effectiveDuration() << " s x "
             << std::max(animation->repeatCount(), 1.0F);
    std::string caption;
    for (const char32_t letter : exhibit().caption.substr(2)) {
        caption += letter == U'×' ? 'x' : static_cast<char>(letter);
    }
    EXPECT_EQ(caption, expected.str());
    EXPECT_EQ(exhibit().caption[0], animation->autoreverses() ? U'↔' : U'→');
}

TEST_P(ExhibitTest, FitsAWholeNumberOfTimesIntoAFilm) {
    const double rounds = kFilmSeconds / exhibit().period;
    EXPECT_EQ(rounds, std::round(rounds));
}

TEST_P(ExhibitTest, MayGoInTheMiddleOfARound) {
    playFor(exhibit().pass / 3);
    TearDown();
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

INSTANTIATE_TEST_SUITE_P(All, ExhibitTest, ::testing::Range<std::size_t>(0, allExhibits().size()));

TEST(Exhibits, HaveTitlesOfTheirOwn) {
    std::set<std::u32string> titles;
    for (const Exhibit &exhibit : allExhibits()) {
        EXPECT_TRUE(titles.insert(exhibit.title).second);
    }
    EXPECT_EQ(titles.size(), 12u);
}

} // namespace
