#include "Tests/Host/Displays/Wayland/WaylandDesktopTest.h"

using namespace Lumivera;

namespace {

constexpr unsigned kLeftButton = 0x110;
constexpr unsigned kRightButton = 0x111;
constexpr unsigned kWheel = 0;
constexpr unsigned kFinger = 1;

class WaylandInputTest : public WaylandDesktopTest {
  protected:
    void beginWith(unsigned seatVersion) {
        TestCompositor::Options options;
        options.seatVersion = seatVersion;
        begin(options);
        surface().heard.clear();
    }

    void SetUp() override {
        if (!::testing::Test::HasFatalFailure()) {
            beginWith(7);
        }
    }

    std::string heard() {
        catchUp();
        return surface().heard;
    }
};

TEST_F(WaylandInputTest, TakesAClickForATap) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerMove(30.4, 40);
    compositor().pointerButton(kLeftButton, true);
    compositor().pointerMove(32, 41);
    compositor().pointerButton(kLeftButton, false);
    EXPECT_EQ(heard(), "tap 30 40,");
}

TEST_F(WaylandInputTest, LeavesTheOtherButtonsAlone) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerButton(kRightButton, true);
    compositor().pointerButton(kRightButton, false);
    EXPECT_EQ(heard(), "");
}

TEST_F(WaylandInputTest, ScrollsByADragThatEndsWhereThePointerIsTakenAway) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerButton(kLeftButton, true);
    compositor().pointerMove(50, 20);
    compositor().pointerLeave("A");
    compositor().pointerEnter("A", 90, 20);
    compositor().pointerButton(kLeftButton, false);
    EXPECT_EQ(heard(), "scroll 40,end,");
}

TEST_F(WaylandInputTest, EndsAWheelsScrollingAtOnceAndAFingersWhenItLifts) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerScroll(kWheel, 15);
    compositor().pointerScroll(kFinger, -3);
    compositor().pointerScroll(kFinger, -4);
    EXPECT_EQ(heard(), "scroll -15,end,scroll 3,scroll 4,");
    compositor().pointerStop();
    EXPECT_EQ(heard(), "scroll -15,end,scroll 3,scroll 4,end,");
}

TEST_F(WaylandInputTest, ShowsAnArrowWhereThePointerComes) {
    EXPECT_EQ(compositor().cursors(), 0);
    compositor().pointerEnter("A", 10, 20);
    EXPECT_TRUE(runUntil([&] { return compositor().cursors() == 1; }));
}

TEST_F(WaylandInputTest, TakesTheFirstFingerForAPointer) {
    compositor().touchDown("A", 5, 10, 20);
    compositor().touchMove(5, 12, 20);
    compositor().touchUp(5);
    compositor().touchDown("A", 6, 100, 20);
    compositor().touchMove(6, 130, 20);
    compositor().touchUp(6);
    EXPECT_EQ(heard(), "tap 10 20,scroll 30,end,");
}

TEST_F(WaylandInputTest, TakesEveryOtherFingerThatStaysForATapOfItsOwn) {
    compositor().touchDown("A", 0, 10, 20);
    compositor().touchDown("A", 1, 110, 20);
    compositor().touchDown("A", 2, 210, 20);
    compositor().touchMove(2, 300, 20);
    compositor().touchUp(1);
    compositor().touchUp(2);
    compositor().touchUp(0);
    EXPECT_EQ(heard(), "tap 110 20,tap 10 20,");
}

TEST_F(WaylandInputTest, ForgetsFingersThatTheCompositorTakesForItself) {
    compositor().touchDown("A", 0, 10, 20);
    compositor().touchMove(0, 40, 20);
    compositor().touchDown("A", 1, 110, 20);
    compositor().touchCancel();
    compositor().touchUp(0);
    compositor().touchUp(1);
    EXPECT_EQ(heard(), "scroll 30,end,");
}

TEST_F(WaylandInputTest, EndsADragWithTheDevice) {
    compositor().touchDown("A", 0, 10, 20);
    compositor().touchMove(0, 40, 20);
    compositor().setCapabilities(0);
    EXPECT_EQ(heard(), "scroll 30,end,");
}

TEST_F(WaylandInputTest, FollowsDevicesThatComeAndGo) {
    compositor().setCapabilities(0);
    compositor().setCapabilities(1);
    catchUp();
    ASSERT_TRUE(runUntil([&] {
        compositor().pointerEnter("A", 10, 20);
        return compositor().cursors() > 0;
    }));
    compositor().pointerButton(kLeftButton, true);
    compositor().pointerButton(kLeftButton, false);
    EXPECT_EQ(heard(), "tap 10 20,");
    compositor().removeSeat();
    catchUp();
}

TEST_F(WaylandInputTest, OutlivesAnOutputUnderThePointer) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerButton(kLeftButton, true);
    compositor().touchDown("A", 0, 10, 20);
    catchUp();
    compositor().removeOutput("A");
    ASSERT_TRUE(runUntil([&] { return recorder.surfaces.empty(); }));
    compositor().pointerMove(100, 20);
    compositor().pointerButton(kLeftButton, false);
    compositor().touchUp(0);
    catchUp();
    EXPECT_TRUE(recorder.losses.empty());
}

class WaylandOldInputTest : public WaylandInputTest {
  protected:
    void SetUp() override { beginWith(1); }
};

TEST_F(WaylandOldInputTest, EndsEveryStepOfScrollingByItself) {
    compositor().pointerEnter("A", 10, 20);
    compositor().pointerScroll(kWheel, 15);
    compositor().pointerScroll(kWheel, 5);
    EXPECT_EQ(heard(), "scroll -15,end,scroll -5,end,");
}

} // namespace
