#include "Host/Commands/Gallery/Gallery.h"

#include "Host/Commands/Gallery/GalleryCard.h"
#include "Host/Playing/OffscreenPicture.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <optional>

using namespace Lumivera;

namespace {

using Pixels = std::vector<std::uint32_t>;

constexpr PictureSize kSize{{400, 300}, 1};

class GalleryTest : public SimulatedTimeTest {
  protected:
    void TearDown() override {
        _gallery.reset();
        SimulatedTimeTest::TearDown();
    }

    Gallery &open(const Gallery::Options &options = {}, const PictureSize &size = kSize) {
        return _gallery.emplace(_pictures, size, options);
    }

    Pixels picture(const PictureSize &size = kSize) {
        return OffscreenPicture(size).composite(*_gallery->root().layer());
    }

    /// How many pixels differ inside a cell, and outside of it.
    std::pair<std::size_t, std::size_t> differences(const Pixels &a, const Pixels &b,
                                                    const CGRect &cell) {
        std::pair<std::size_t, std::size_t> counts;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const CGPoint point{static_cast<CGFloat>(i % kSize.pixelWidth()),
                                static_cast<CGFloat>(i / kSize.pixelWidth())};
            if (a[i] != b[i]) {
                ++(CGRectContainsPoint(cell, point) ? counts.first : counts.second);
            }
        }
        return counts;
    }

    GalleryPictures _pictures{shippedBundle("Lumivera.bundle")};
    std::optional<Gallery> _gallery;
};

TEST_F(GalleryTest, IsAfterAFilmAsItWasAtItsBeginning) {
    open().setPlaying(true);
    runForSeconds(0);
    const Pixels beginning = picture();
    runForSeconds(6.3);
    EXPECT_TRUE(picture() != beginning);
    runForSeconds(kFilmSeconds - 6.3);
    EXPECT_TRUE(picture() == beginning);
}

TEST_F(GalleryTest, MovesInEveryCell) {
    Gallery &gallery = open();
    gallery.setPlaying(true);
    runForSeconds(0.1);
    const Pixels earlier = picture();
    runForSeconds(0.1);
    const Pixels later = picture();
    for (NSUInteger i = 0; i < allExhibits().size(); ++i) {
        EXPECT_GT(differences(earlier, later, gallery.grid().cell(i)).first, 50u) << i;
    }
}

TEST_F(GalleryTest, BeginsOnlyTheExhibitAtThePointAnew) {
    Gallery &gallery = open();
    const CGRect cell = gallery.grid().cell(4);
    gallery.setPlaying(true);
    runForSeconds(0.5);
    const Pixels untouched = picture();
    gallery.setPlaying(true);
    runForSeconds(0.25);
    gallery.restartAt({CGRectGetMidX(cell), CGRectGetMidY(cell)});
    runForSeconds(0.25);
    const auto [inside, outside] = differences(untouched, picture(), cell);
    EXPECT_GT(inside, 50u);
    EXPECT_EQ(outside, 0u);
}

TEST_F(GalleryTest, BeginsNothingAnewBetweenCellsAndWhileItIsHeld) {
    Gallery &gallery = open();
    gallery.setPlaying(true);
    runForSeconds(0.5);
    gallery.setPlaying(false);
    const Pixels held = picture();
    gallery.restartAt({100, 100});
    runForSeconds(1);
    EXPECT_TRUE(picture() == held);
    gallery.setPlaying(true);
    runForSeconds(0.5);
    const Pixels playing = picture();
    gallery.setPlaying(true);
    runForSeconds(0.25);
    gallery.restartAt({0, 0});
    runForSeconds(0.25);
    EXPECT_TRUE(picture() == playing);
}

TEST_F(GalleryTest, FillsAPictureOfAnotherSizeAndGoesOnPlaying) {
    Gallery &gallery = open();
    gallery.setPlaying(true);
    runForSeconds(0.5);
    constexpr PictureSize kTall{{150, 500}, 2};
    gallery.resize(kTall);
    EXPECT_EQ(gallery.grid().columns(), 2u);
    runForSeconds(0.4);
    const Pixels resized = picture(kTall);
    open({}, kTall).setPlaying(true);
    runForSeconds(0.4);
    EXPECT_TRUE(picture(kTall) == resized);
}

TEST_F(GalleryTest, StaysHeldInAPictureOfAnotherSize) {
    Gallery &gallery = open();
    gallery.resize({{150, 500}, 2});
    runForSeconds(1);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
}

TEST_F(GalleryTest, LivesInPicturesWithoutRoom) {
    for (const CGSize size : {CGSize{1, 1}, CGSize{3, 1000}, CGSize{1000, 3}}) {
        open({}, {size, 1}).setPlaying(true);
        runForSeconds(1);
        EXPECT_EQ(picture({size, 1}).size(), static_cast<std::size_t>(size.width * size.height));
    }
}

TEST_F(GalleryTest, HoldsEveryExhibitAtSeveralMoments) {
    open({0, 6}).holdMoments();
    runForSeconds(3);
    EXPECT_EQ(loop().nextDeadline(), Clock::kNever);
    const Pixels sheet = picture();
    runForSeconds(1);
    EXPECT_TRUE(picture() == sheet);
    open({0, 6});
    const Pixels resting = picture();
    for (NSUInteger i = 0; i < allExhibits().size(); ++i) {
        EXPECT_GT(differences(sheet, resting, _gallery->grid().cell(i)).first, 200u) << i;
    }
}

TEST_F(GalleryTest, ShowsTheDensestFlowersThereAre) {
    for (NSUInteger i = 0; i < 3; ++i) {
        EXPECT_EQ(_pictures.flower(i)->scale(), 3);
    }
    EXPECT_EQ(_pictures.flower(3), _pictures.flower(0));
}

TEST(GalleryCardTest, LeavesLabelsOutThatCouldNotBeRead) {
    const Exhibit &exhibit = allExhibits()[0];
    const GalleryCard large(exhibit, {200, 240}, 1, 1);
    EXPECT_GT(large.titleSize(), large.captionSize());
    EXPECT_GT(large.captionSize(), 8);
    const GalleryCard small(exhibit, {70, 80}, 1, 1);
    EXPECT_GT(small.titleSize(), 0);
    EXPECT_EQ(small.captionSize(), 0);
    const GalleryCard tiny(exhibit, {20, 24}, 1, 1);
    EXPECT_EQ(tiny.titleSize(), 0);
    EXPECT_GT(GalleryCard(exhibit, {20, 24}, 10, 1).titleSize(), 0) << "on a dense screen";
}

TEST(GalleryCardTest, GivesStagesTheRoomBelowTheLabel) {
    const GalleryCard card(allExhibits()[0], {200, 240}, 1, 1);
    const CGRect stage = card.stageFrame(0);
    EXPECT_EQ(stage.size.width, stage.size.height);
    EXPECT_GT(stage.size.width, 170);
    EXPECT_GT(stage.origin.y, card.titleSize() + card.captionSize());
    EXPECT_LE(stage.origin.y + stage.size.height, 240);
    const GalleryCard strip(allExhibits()[0], {600, 120}, 1, 6);
    for (NSUInteger i = 0; i < 6; ++i) {
        EXPECT_GE(strip.stageFrame(i).origin.x, 100.0 * static_cast<double>(i));
        EXPECT_LE(strip.stageFrame(i).origin.x + strip.stageFrame(i).size.width,
                  100.0 * static_cast<double>(i + 1));
    }
}

TEST(GalleryCardTest, HasNoPictureWithoutRoom) {
    EXPECT_FALSE(GalleryCard(allExhibits()[0], {0, 30}, 1, 1).draw());
    EXPECT_EQ(GalleryCard(allExhibits()[0], {0, 30}, 1, 1).stageFrame(0).size, CGSize{});
}

} // namespace
