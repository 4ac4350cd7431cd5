#include "Host/Displays/PointerGestures.h"

#include <gtest/gtest.h>

#include <string>

using namespace Lumivera;

namespace {

class GestureRecorder final : public PointerListener {
  public:
    void tapped(CGPoint point) override { note("tap", point.x); }
    void scrolledBy(CGFloat distance) override { note("scroll", distance); }
    void scrollingEnded() override { note("end", 0); }

    std::string heard;

  private:
    void note(const std::string &what, CGFloat number) {
        heard += what + " " + std::to_string(static_cast<int>(number)) + ",";
    }
};

TEST(PointerGestures, TakesAPressThatHardlyMovesForATapWhereItBegan) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.moved({104, 53}, recorder);
    gestures.released({105, 53}, recorder);
    EXPECT_EQ(recorder.heard, "tap 100,");
}

TEST(PointerGestures, ScrollsByAllOfADragsWay) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.moved({105, 50}, recorder);
    gestures.moved({120, 50}, recorder);
    gestures.moved({90, 50}, recorder);
    gestures.released({90, 50}, recorder);
    EXPECT_EQ(recorder.heard, "scroll 20,scroll -30,end 0,");
}

TEST(PointerGestures, EndsADragAndForgetsAPressThatAreTakenAway) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.pressed({100, 50});
    gestures.cancelled(recorder);
    gestures.released({100, 50}, recorder);
    EXPECT_EQ(recorder.heard, "");
    gestures.pressed({100, 50});
    gestures.moved({120, 50}, recorder);
    gestures.cancelled(recorder);
    gestures.released({120, 50}, recorder);
    EXPECT_EQ(recorder.heard, "scroll 20,end 0,");
}

TEST(PointerGestures, HearsNothingOfAPointerThatIsNotPressed) {
    PointerGestures gestures;
    GestureRecorder recorder;
    gestures.moved({200, 50}, recorder);
    gestures.released({200, 50}, recorder);
    EXPECT_EQ(recorder.heard, "");
}

} // namespace
