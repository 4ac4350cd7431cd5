#include "Wallpapers/Gallery/Card.h"

#include "Tests/Wallpapers/Gallery/GalleryTest.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

namespace {

/// The visible properties of a card.
struct Look {
    LayerValues flower;
    LayerValues stage;
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
    return std::max(largestDifference(a.flower, b.flower), largestDifference(a.stage, b.stage));
}

struct Caption {
    std::string title;
    std::string note;
};

/// What the art program writes on the cards, by the name of the picture.
std::map<std::string, Caption> captions() {
    std::map<std::string, Caption> captions;
    std::ifstream file(LUMIVERA_SOURCE_DIR "/Wallpapers/Gallery/Art/captions.tsv");
    for (std::string row; std::getline(file, row);) {
        if (row[0] != '#') {
            std::istringstream fields(row);
            std::string name;
            Caption caption;
            std::getline(std::getline(std::getline(fields, name, '\t'), caption.title, '\t'),
                         caption.note);
            captions.emplace(name, caption);
        }
    }
    return captions;
}

/// One card whose stage has sides of 100 points.
class CardTest : public GalleryTest, public ::testing::WithParamInterface<std::size_t> {
  protected:
    CardTest() { _card->setFrame({{10, 20}, {125, 125}}); }

    void TearDown() override {
        _card.reset();
        GalleryTest::TearDown();
    }

    const Exhibit &exhibit() const { return animationExhibits()[GetParam()]; }
    Card &card() { return *_card; }

    Look look() {
        const NSTimeInterval time = CACurrentMediaTime();
        Look look{_card->flower().layer()->presentationAt(time),
                  _card->stage().layer()->presentationAt(time)};
        look.stage.sublayerTransform.m34 = 0; // a plane that is not tilted shows no perspective
        return look;
    }

    void playFor(double seconds) {
        for (double time = 0; time < seconds - 0.001; time += kFrameSeconds) {
            _card->play(CACurrentMediaTime());
            runForSeconds(kFrameSeconds);
        }
    }

    void begin() { _card->beginAt(CACurrentMediaTime()); }

    bool isMoving() { return GalleryTest::isMoving(*_card); }

    /// When every exhibit moves for the first time.
    static constexpr double kMoment = 0.225;

  private:
    std::unique_ptr<Card> _card = std::make_unique<Card>(animationExhibits()[GetParam()]);
};

TEST_P(CardTest, MovesInEveryRoundAndEndsWhereItBegan) {
    begin();
    const Look rest = look();
    for (int round = 0; round < 3; ++round) {
        playFor(kMoment);
        EXPECT_GT(largestDifference(look(), rest), 0.1);
        playFor(exhibit().period - kMoment - kFrameSeconds);
        EXPECT_LT(largestDifference(look(), rest), 1e-6) << "round " << round;
        EXPECT_FALSE(isMoving());
        playFor(kFrameSeconds);
    }
}

TEST_P(CardTest, RepeatsItsRounds) {
    begin();
    playFor(0.4);
    const Look first = look();
    playFor(2 * exhibit().period);
    EXPECT_LT(largestDifference(look(), first), 1e-9);
}

TEST_P(CardTest, NeverStandsStillForLong) {
    begin();
    Look last = look();
    int still = 0, longest = 0;
    for (int frame = 0; frame < 480; ++frame) {
        playFor(kFrameSeconds);
        still = look() == last ? still + 1 : 0;
        longest = std::max(longest, still);
        last = look();
    }
    EXPECT_LT(longest * kFrameSeconds, 1);
}

TEST_P(CardTest, BeginsAnewInTheMiddleOfARound) {
    begin();
    playFor(0.3);
    const Look shown = look();
    playFor(0.2);
    begin();
    playFor(0.3);
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
}

TEST_P(CardTest, HoldsWhatItShows) {
    begin();
    playFor(0.3);
    const Look shown = look();
    card().hold();
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
    EXPECT_FALSE(isMoving());
    const Look held = look();
    runForSeconds(10);
    EXPECT_EQ(look(), held);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    begin();
    playFor(0.3);
    EXPECT_LT(largestDifference(look(), shown), 1e-9);
}

TEST_P(CardTest, IsInStepAgainAfterFramesThatFailed) {
    begin();
    playFor(0.3);
    const Look shown = look();
    playFor(0.1);
    runForSeconds(10.1);
    playFor(13.8);
    EXPECT_LT(largestDifference(look(), shown), 1e-9) << "after 24.3 seconds";
}

TEST_P(CardTest, LeavesNothingRunningWhenItIsNotPlayed) {
    begin();
    playFor(0.3);
    runForSeconds(10);
    EXPECT_FALSE(isMoving());
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_P(CardTest, MayGoInTheMiddleOfARound) {
    begin();
    playFor(0.3);
    TearDown();
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_P(CardTest, StaysOnItsStage) {
    begin();
    for (int frame = 0; frame < 160; ++frame) {
        playFor(kFrameSeconds);
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

TEST_P(CardTest, SaysWhatRuns) {
    begin();
    playFor(2 * kFrameSeconds);
    Retained<CAAnimation> animation;
    for (const char *key :
         {"translation", "scale", "rotation", "opacity", "perspective", "gallery"}) {
        for (CALayer *layer : {card().stage().layer(), card().flower().layer()}) {
            animation = animation ? animation : layer->animationForKey(key);
        }
    }
    ASSERT_TRUE(animation);
    std::ostringstream expected;
    expected << (animation->autoreverses() ? "↔ " : "→ ") << animation->timing().effectiveDuration()
             << " s × " << std::max(animation->repeatCount(), 1.0F);
    EXPECT_EQ(captions()[exhibit().caption].note, expected.str());
}

TEST_P(CardTest, FitsAWholeNumberOfTimesIntoAFilm) {
    const double rounds = Exhibit::kFilmSeconds / exhibit().period;
    EXPECT_EQ(rounds, std::round(rounds));
}

TEST_P(CardTest, IsHiddenUntilItBegins) {
    card().beginAt(CACurrentMediaTime() + 0.5);
    playFor(0.5);
    EXPECT_TRUE(card().view().isHidden());
    EXPECT_FALSE(isMoving());
    playFor(3 * kFrameSeconds);
    EXPECT_FALSE(card().view().isHidden());
    EXPECT_TRUE(isMoving());
}

INSTANTIATE_TEST_SUITE_P(All, CardTest,
                         ::testing::Range<std::size_t>(0, animationExhibits().size()),
                         [](const auto &test) { return animationExhibits()[test.param].caption; });

class ExhibitsTest : public GalleryTest {};

TEST_F(ExhibitsTest, HaveCaptionsOfTheirOwn) {
    ImageCache::sharedInstance()->setResourceData("captions.pack");
    std::set<std::string> names, titles;
    for (const auto *exhibits : {&animationExhibits(), &pictureExhibits()}) {
        EXPECT_EQ(exhibits->size(), 12u);
        for (const Exhibit &exhibit : *exhibits) {
            EXPECT_TRUE(Lumivera::picture(exhibit.caption + ".png")) << exhibit.caption;
            EXPECT_TRUE(names.insert(exhibit.caption).second) << exhibit.caption;
        }
    }
    for (const auto &[name, caption] : captions()) {
        EXPECT_EQ(names.count(name), 1u) << name;
        EXPECT_TRUE(titles.insert(caption.title).second) << caption.title;
    }
    EXPECT_EQ(titles.size(), names.size());
}

TEST_F(ExhibitsTest, MakeAPictureOfTheirOwnEach) {
    std::set<std::vector<std::uint32_t>> pictures;
    for (const Exhibit &exhibit : pictureExhibits()) {
        const Card card(exhibit);
        const auto image = dynamic_cast<UIImageView &>(card.flower()).image();
        ASSERT_TRUE(image) << exhibit.caption;
        const std::uint32_t *pixels = image->bitmap()->pixels();
        EXPECT_TRUE(
            pictures.emplace(pixels, pixels + image->bitmap()->width() * image->bitmap()->height())
                .second)
            << exhibit.caption;
    }
}

TEST_F(ExhibitsTest, ReadScrambledPicturesBackUnchanged) {
    const std::map<std::string, std::string> files{
        {"scrambled_file", "flower1.png"},
        {"scrambled_bytes", "flower2.png"},
    };
    for (const Exhibit &exhibit : pictureExhibits()) {
        if (files.count(exhibit.caption) == 0) {
            continue;
        }
        const auto expected = Lumivera::picture(files.at(exhibit.caption));
        const auto actual = exhibit.picture(expected);
        ASSERT_TRUE(actual) << exhibit.caption;
        const NSUInteger count = expected->bitmap()->width() * expected->bitmap()->height();
        EXPECT_TRUE(std::equal(expected->bitmap()->pixels(), expected->bitmap()->pixels() + count,
                               actual->bitmap()->pixels()))
            << exhibit.caption;
    }
}

} // namespace
