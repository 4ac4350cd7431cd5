#include "Wallpapers/Gallery/GalleryView.h"

#include "Tests/Wallpapers/Gallery/GalleryTest.h"

#include <algorithm>
#include <cmath>

namespace {

CGFloat rightOf(const CGRect &rect) { return rect.origin.x + rect.size.width; }
CGFloat bottomOf(const CGRect &rect) { return rect.origin.y + rect.size.height; }

bool areApart(const CGRect &a, const CGRect &b) {
    return rightOf(a) <= b.origin.x || rightOf(b) <= a.origin.x || bottomOf(a) <= b.origin.y ||
           bottomOf(b) <= a.origin.y;
}

/// A gallery of 1200 × 900 points that animates.
class GalleryViewTest : public GalleryTest {
  protected:
    void SetUp() override {
        _view = Lumivera::make<GalleryView>(CGRectMake(0, 0, 320, 480));
        _view->setFrame({{0, 0}, {1200, 900}});
    }

    void TearDown() override {
        _view->removeFromSuperview();
        _view = nullptr;
        GalleryTest::TearDown();
    }

    void begin() { runForSeconds(1); }

    CGRect frameOf(std::size_t card) { return _view->cards().at(card)->view().frame(); }

    std::size_t columns() {
        const auto &cards = _view->cards();
        const CGFloat top = frameOf(0).origin.y;
        return static_cast<std::size_t>(
            std::count_if(cards.begin(), cards.end(), [top](const auto &card) {
                return card->view().frame().origin.y == top;
            }));
    }

    std::size_t visibleCards() {
        const auto &cards = _view->cards();
        return static_cast<std::size_t>(std::count_if(
            cards.begin(), cards.end(), [](const auto &card) { return !card->view().isHidden(); }));
    }

    std::string firstCaption() { return _view->cards().at(0)->exhibit().caption; }

    Retained<GalleryView> _view;
};

TEST_F(GalleryViewTest, ShowsTheAnimationsFirst) {
    begin();
    EXPECT_EQ(firstCaption(), "translate");
    EXPECT_EQ(visibleCards(), 12u);
    EXPECT_TRUE(_view->bgView()->image());
}

TEST_F(GalleryViewTest, HasAsManyColumnsAsGiveTheLargestCards) {
    begin();
    const std::vector<std::pair<CGSize, std::size_t>> sizes{
        {{1200, 900}, 4}, {{900, 1200}, 3}, {{320, 480}, 3},   {{1920, 1080}, 4},
        {{200, 700}, 2},  {{100, 1500}, 1}, {{1500, 100}, 12}, {{3840, 2160}, 4}};
    for (const auto &[size, expected] : sizes) {
        _view->setFrame({{0, 0}, size});
        EXPECT_EQ(columns(), expected) << size.width << " x " << size.height;
    }
}

TEST_F(GalleryViewTest, KeepsCardsSquareApartAndInside) {
    begin();
    for (const CGSize size : {CGSize{1200, 720}, CGSize{40, 30}, CGSize{99, 1000}, CGSize{1000, 99},
                              CGSize{333.3, 777.7}, CGSize{3000, 2000}}) {
        _view->setFrame({{0, 0}, size});
        for (std::size_t i = 0; i < _view->cards().size(); ++i) {
            const CGRect card = frameOf(i);
            EXPECT_EQ(card.size, frameOf(0).size);
            EXPECT_EQ(card.size.width, card.size.height);
            EXPECT_EQ(card.origin.x, std::round(card.origin.x));
            EXPECT_EQ(card.origin.y, std::round(card.origin.y));
            EXPECT_GE(std::min(card.origin.x, card.origin.y), 0);
            EXPECT_LE(rightOf(card), size.width);
            EXPECT_LE(bottomOf(card), size.height);
            for (std::size_t j = 0; j < i; ++j) {
                EXPECT_TRUE(areApart(card, frameOf(j))) << i << ' ' << j;
            }
        }
    }
}

TEST_F(GalleryViewTest, ShowsNothingWhereThereIsNoRoom) {
    begin();
    for (const CGSize size : {CGSize{1, 1}, CGSize{0, 0}, CGSize{1, 2000}, CGSize{2000, 1}}) {
        _view->setFrame({{0, 0}, size});
        runForSeconds(1);
        EXPECT_LE(frameOf(0).size.width, 1);
    }
    _view->setFrame({{0, 0}, {320, 480}});
    runForSeconds(0.1);
    EXPECT_GT(frameOf(0).size.width, 90);
    EXPECT_EQ(visibleCards(), 12u);
}

TEST_F(GalleryViewTest, BeginsAnewAtAnotherSizeAndOnlyThen) {
    begin();
    runForSeconds(0.3);
    const Card &card = *_view->cards().at(2);
    _view->setFrame({{0, 0}, {1200, 900}});
    EXPECT_TRUE(isMoving(card));
    _view->setFrame({{0, 0}, {1200, 901}});
    EXPECT_FALSE(isMoving(card));
    runForSeconds(0.1);
    EXPECT_TRUE(isMoving(card));
}

TEST_F(GalleryViewTest, TurnsThePageAtATap) {
    begin();
    _view->tapActionAtViewPoint({100, 100});
    runForSeconds(1);
    EXPECT_EQ(firstCaption(), "tint");
    EXPECT_EQ(visibleCards(), 12u);
    _view->tapActionAtViewPoint({100, 100});
    runForSeconds(1);
    EXPECT_EQ(firstCaption(), "translate");
    EXPECT_EQ(visibleCards(), 12u);
}

TEST_F(GalleryViewTest, LetsCardsAppearInAWaveFromTheFinger) {
    begin();
    _view->tapActionAtViewPoint({0, 0});
    std::vector<std::size_t> counts;
    for (int frame = 0; frame < 30; ++frame) {
        runForSeconds(kFrameSeconds);
        counts.push_back(visibleCards());
        if (counts.back() == 1) {
            EXPECT_FALSE(_view->cards().at(0)->view().isHidden()) << "the nearest comes first";
        }
    }
    EXPECT_TRUE(std::is_sorted(counts.begin(), counts.end()));
    EXPECT_LT(counts[2], 2u);
    EXPECT_EQ(counts.back(), 12u);
}

TEST_F(GalleryViewTest, LeavesNothingAnimatingOnThePageBehind) {
    begin();
    const auto &behind = _view->cards();
    _view->tapActionAtViewPoint({100, 100});
    runForSeconds(5);
    for (const auto &card : behind) {
        EXPECT_FALSE(isMoving(*card));
        EXPECT_TRUE(card->view().superview()->isHidden());
    }
}

TEST_F(GalleryViewTest, TakesNoTapOutsideItsAreaOrBeforeItsFirstFrame) {
    _view->tapActionAtViewPoint({100, 100});
    begin();
    _view->setTapClipRect({{0, 0}, {50, 50}});
    _view->tapActionAtViewPoint({100, 100});
    EXPECT_EQ(firstCaption(), "translate");
}

TEST_F(GalleryViewTest, ShowsAllCardsAtAnotherSizeAndOnAnotherPageWhilePaused) {
    begin();
    _view->pauseAnimating();
    runForSeconds(1);
    _view->setFrame({{0, 0}, {320, 480}});
    EXPECT_EQ(visibleCards(), 12u);
    _view->tapActionAtViewPoint({10, 10});
    EXPECT_EQ(firstCaption(), "tint");
    EXPECT_EQ(visibleCards(), 12u);
}

TEST_F(GalleryViewTest, RestsWhilePausedAndThenBeginsAnew) {
    begin();
    _view->pauseAnimating();
    for (const auto &card : _view->cards()) {
        EXPECT_FALSE(isMoving(*card));
    }
    runForSeconds(10);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    _view->resumeAnimating();
    runForSeconds(0.1);
    for (const auto &card : _view->cards()) {
        EXPECT_TRUE(isMoving(*card));
    }
}

} // namespace
