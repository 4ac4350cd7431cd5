#include "Host/Desktop/BackgroundPicture.h"

#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr std::uint32_t kSky = 0xFF0000FF;

class BackgroundPictureTest : public SimulatedTimeTest, public BackgroundPicture::Listener {
  protected:
    BackgroundPictureTest() {
        _subject.bundle = "/asked";
        _subject.geometry = {100, 50, 2, true};
        _views.backgroundBehaviours["/asked"].ground = kSky;
        _background.emplace(_views.maker(), *this);
    }

    void TearDown() override {
        _background.reset();
        SimulatedTimeTest::TearDown();
    }

    void backgroundDrawn() override { ++_drawn; }
    void backgroundFailed(const std::string &bundle, const std::string &reason) override {
        _failures.push_back(bundle + ": " + reason);
    }

    void draw() {
        _background->draw(_subject);
        runForSeconds(2);
    }

    FakeViews _views;
    BackgroundPicture::Subject _subject;
    std::optional<BackgroundPicture> _background;
    int _drawn = 0;
    std::vector<std::string> _failures;
};

TEST_F(BackgroundPictureTest, DrawsOnceAndEndsTheView) {
    EXPECT_EQ(_background->picture(), nullptr);
    draw();
    EXPECT_EQ(_drawn, 1);
    EXPECT_THAT(_views.views(), IsEmpty());
    ASSERT_THAT(_views.backgroundRequests(), SizeIs(1));
    const ViewRequest &request = _views.backgroundRequests()[0];
    EXPECT_EQ(request.density, 2);
    EXPECT_EQ(request.memory, _background->picture());
    EXPECT_EQ(_background->picture()->width(), 100U);
    EXPECT_EQ(_background->picture()->height(), 50U);
    EXPECT_EQ(_background->picture()->count(), 1U);
    EXPECT_EQ(_background->picture()->pixels(0)[1], kSky);
}

TEST_F(BackgroundPictureTest, DrawsOnlyWhatChanges) {
    draw();
    _subject.values.petals = 9;
    _subject.values.speed = 4;
    _subject.values.offset = 30;
    draw();
    EXPECT_THAT(_views.made(), SizeIs(1));
    _subject.values.scale = 2;
    draw();
    EXPECT_THAT(_views.made(), SizeIs(2));
    EXPECT_EQ(_views.backgroundRequests().back().values.scale, 2);
    _subject.values.tint = CGColor{1, 0, 0, 1};
    draw();
    EXPECT_THAT(_views.made(), SizeIs(3));
    EXPECT_EQ(_views.backgroundRequests().back().values.tint, (CGColor{1, 0, 0, 1}));
    _subject.geometry.width = 80;
    draw();
    EXPECT_THAT(_views.made(), SizeIs(4));
    _subject.bundle = "/other";
    draw();
    EXPECT_THAT(_views.made(), ElementsAre("/asked", "/asked", "/asked", "/asked", "/other"));
    EXPECT_EQ(_drawn, 5);
}

TEST_F(BackgroundPictureTest, DrawsTheSameAgainWhenItHasExpired) {
    draw();
    _background->expire();
    draw();
    EXPECT_EQ(_drawn, 2);
}

TEST_F(BackgroundPictureTest, DrawsTheLastOfSeveralInARow) {
    for (const double scale : {1.1, 1.2, 1.3}) {
        _subject.values.scale = scale;
        _background->draw(_subject);
        runForSeconds(0.05);
    }
    runForSeconds(2);
    EXPECT_THAT(_views.made(), SizeIs(1));
    EXPECT_EQ(_views.backgroundRequests().back().values.scale, 1.3);
    EXPECT_EQ(_drawn, 1);
}

TEST_F(BackgroundPictureTest, KeepsTheOldPictureUntilThereIsANewOne) {
    draw();
    const auto old = _background->picture();
    _subject.values.scale = 2;
    _background->draw(_subject);
    runForSeconds(0.5);
    EXPECT_EQ(_background->picture(), old);
    runForSeconds(1);
    EXPECT_NE(_background->picture(), old);
}

TEST_F(BackgroundPictureTest, DrawsAWholeWallpaperWhereItIsAskedTo) {
    _subject.part = WallpaperPart::Whole;
    draw();
    EXPECT_EQ(_drawn, 1);
    EXPECT_THAT(_views.backgroundRequests(), IsEmpty());
}

TEST_F(BackgroundPictureTest, TellsAFailureOnce) {
    _views.backgroundBehaviours["/asked"].end = 0.2;
    draw();
    draw();
    EXPECT_THAT(_failures, ElementsAre("/asked: has ended as the test wanted"));
    EXPECT_THAT(_views.made(), SizeIs(1));
    EXPECT_THAT(_views.views(), IsEmpty());
    _views.backgroundBehaviours["/asked"].end.reset();
    _background->expire();
    draw();
    EXPECT_EQ(_drawn, 1) << "it can begin again";
}

TEST_F(BackgroundPictureTest, TellsThatThereCanBeNoView) {
    _views.isOutOfProcesses = true;
    draw();
    EXPECT_THAT(_failures, ElementsAre(HasSubstr("cannot be run")));
    EXPECT_EQ(_background->picture(), nullptr);
}

TEST_F(BackgroundPictureTest, ForgetsItsPicture) {
    draw();
    _background->clear();
    EXPECT_EQ(_background->picture(), nullptr);
    draw();
    EXPECT_EQ(_drawn, 2);
    _background->expire();
    _background->draw(_subject);
    runForSeconds(0.3);
    _background->clear();
    runForSeconds(2);
    EXPECT_EQ(_drawn, 2);
    EXPECT_THAT(_views.views(), IsEmpty());
}

TEST_F(BackgroundPictureTest, LiesBeneathPetalsOfItsSize) {
    SharedBuffers petals(100, 50, 2);
    EXPECT_THAT(_background->beneath(petals, 1), IsEmpty());
    draw();
    petals.pixels(1)[1] = 0x80800000;
    petals.pixels(1)[2] = 0xFF00FF00;
    const std::vector<std::uint32_t> whole = _background->beneath(petals, 1);
    ASSERT_THAT(whole, SizeIs(100 * 50));
    EXPECT_EQ(whole[1], 0xFF80007FU);
    EXPECT_EQ(whole[2], 0xFF00FF00U);
    EXPECT_EQ(whole[3], kSky);
    EXPECT_THAT(_background->beneath(SharedBuffers(100, 51, 1), 0), IsEmpty());
}

} // namespace
