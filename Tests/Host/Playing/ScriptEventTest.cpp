#include "Host/Rendering/RenderingSession.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Tests/Animation/Support/SakuraProbe.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <optional>

using namespace Lumivera;
using Kind = ScriptEvent::Kind;

namespace {

class ScriptEventTest : public ::testing::Test {
  protected:
    void SetUp() override {
        RenderingSession::Options options;
        options.settings.size = {200, 300};
        _session.emplace(shippedBundle("Lumivera.bundle"), options);
    }

    LumiveraView &view() { return dynamic_cast<LumiveraView &>(_session->view()); }

    void apply(Kind kind, std::array<double, 4> numbers) {
        EXPECT_TRUE((ScriptEvent{0, kind, numbers, 0}.applyTo(view())));
    }

    Sakura &petal(NSUInteger layer, NSUInteger index) {
        return dynamic_cast<Sakura &>(*view().subviewAtIndex(1 + layer)->subviewAtIndex(index));
    }

    /// Puts a petal at (100, 100), so that a later push can be measured.
    Sakura &restingPetal() {
        Sakura &resting = petal(2, 0);
        resting.setCenter({100, 100});
        EXPECT_EQ(SakuraProbe(resting).changedSpeed(), CppVector2D{});
        return resting;
    }

    LogRecorder _log;
    std::optional<RenderingSession> _session;
};

TEST_F(ScriptEventTest, SetsThePetalCount) {
    apply(Kind::SakuraCount, {7});
    EXPECT_EQ(view().sakuraCount(), 7u);
}

TEST_F(ScriptEventTest, SetsThePetalsScaleLevel) {
    apply(Kind::SakuraScaleLevel, {-3});
    EXPECT_EQ(view().sakuraScaleLevel(), -3);
}

TEST_F(ScriptEventTest, GivesThePetalsNewSpeeds) {
    apply(Kind::SpeedLevel, {1});
    const float slow = SakuraProbe(petal(2, 0)).originSpeed().y;
    apply(Kind::SpeedLevel, {100});
    EXPECT_GT(SakuraProbe(petal(2, 0)).originSpeed().y, 5 * slow);
}

TEST_F(ScriptEventTest, SetsTheOffset) {
    apply(Kind::Offset, {-12.5});
    EXPECT_EQ(view().offset(), -12.5);
}

TEST_F(ScriptEventTest, SetsTheScale) {
    apply(Kind::Scale, {0.5});
    EXPECT_EQ(view().scale(), 0.5);
    EXPECT_EQ(view().frame().size, CGSizeMake(100, 150));
}

TEST_F(ScriptEventTest, SetsTheClipRectangle) {
    apply(Kind::TapClipRect, {1, 2, 3, 4});
    EXPECT_EQ(view().tapClipRect(), CGRectMake(1, 2, 3, 4));
}

TEST_F(ScriptEventTest, SetsTheFrame) {
    apply(Kind::SetFrame, {5, 6, 70, 80});
    EXPECT_EQ(view().frame(), CGRectMake(5, 6, 70, 80));
}

TEST_F(ScriptEventTest, Taps) {
    Sakura &target = restingPetal();
    apply(Kind::Tap, {110, 100});
    EXPECT_LT(SakuraProbe(target).changedSpeed().x, 0);
    EXPECT_EQ(SakuraProbe(target).changedSpeed().y, 0);
}

TEST_F(ScriptEventTest, MakesGesturesOfWhichTheSecondIsATap) {
    Sakura &target = restingPetal();
    apply(Kind::Gesture, {1, 100, 110});
    EXPECT_EQ(SakuraProbe(target).changedSpeed(), CppVector2D{});
    apply(Kind::Gesture, {2, 100, 110});
    EXPECT_LT(SakuraProbe(target).changedSpeed().y, 0);
}

TEST_F(ScriptEventTest, LeavesPauseAndResumeToTheCaller) {
    apply(Kind::Pause, {});
    EXPECT_TRUE(view().isAnimating());
    view().pauseAnimating();
    apply(Kind::Resume, {});
    EXPECT_FALSE(view().isAnimating());
}

TEST(ScriptEvent, ReachesAWallpaperOfAnotherKindButForThePetals) {
    const LogRecorder log;
    const TemporaryFolder folder;
    RenderingSession session(testBundle(folder.path(), "TinyWallpaper"), {});
    DeskTopView &view = session.view();
    EXPECT_FALSE((ScriptEvent{0, Kind::SakuraCount, {4}, 0}.applyTo(view)));
    EXPECT_FALSE((ScriptEvent{0, Kind::SakuraScaleLevel, {4}, 0}.applyTo(view)));
    EXPECT_TRUE((ScriptEvent{0, Kind::SpeedLevel, {4}, 0}.applyTo(view)));
    EXPECT_EQ(view.speedLevel(), 4);
    EXPECT_TRUE((ScriptEvent{0, Kind::Tap, {9, 0}, 0}.applyTo(view)));
    EXPECT_EQ(view.speedLevel(), 9);
}

} // namespace
