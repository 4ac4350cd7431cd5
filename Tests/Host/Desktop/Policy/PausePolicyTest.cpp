#include "Host/Desktop/Policy/PausePolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Lumivera;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Visibility = SurfaceVisibility;
using OnBattery = PauseOptions::OnBattery;

SessionState with(bool SessionState::*flag) {
    SessionState session;
    session.*flag = true;
    return session;
}

PauseOptions onBattery(OnBattery what) {
    PauseOptions options;
    options.onBattery = what;
    return options;
}

PauseDecision decide(const PauseOptions &options, Visibility visibility,
                     const SessionState &session = {}, bool isPausedByUser = false) {
    return PausePolicy::decide(options, visibility, session, isPausedByUser);
}

PauseOptions nothingPauses() {
    PauseOptions options;
    options.whenCovered = options.whenLocked = options.whenIdle = false;
    return options;
}

TEST(PausePolicy, RunsWhatCanBeSeen) {
    EXPECT_EQ(decide({}, Visibility::Visible), PauseDecision());
}

TEST(PausePolicy, RestsUnderWindowsUnlessToldOtherwise) {
    EXPECT_THAT(decide({}, Visibility::Covered).reasons, ElementsAre("covered"));
    EXPECT_THAT(decide({}, Visibility::FullScreen).reasons, ElementsAre("fullscreen"));
    EXPECT_THAT(decide(nothingPauses(), Visibility::Covered).reasons, IsEmpty());
    EXPECT_THAT(decide(nothingPauses(), Visibility::FullScreen).reasons, IsEmpty());
}

TEST(PausePolicy, RestsOnAnOutputThatIsOffWhateverItIsTold) {
    EXPECT_THAT(decide(nothingPauses(), Visibility::Off).reasons, ElementsAre("output-off"));
}

TEST(PausePolicy, RestsBehindALockUnlessToldOtherwise) {
    const SessionState locked = with(&SessionState::isLocked);
    EXPECT_THAT(decide({}, Visibility::Visible, locked).reasons, ElementsAre("locked"));
    EXPECT_THAT(decide(nothingPauses(), Visibility::Visible, locked).reasons, IsEmpty());
}

TEST(PausePolicy, CountsASessionWithoutScreensAsLockedWhateverItIsTold) {
    const SessionState inactive = with(&SessionState::isInactive);
    EXPECT_THAT(decide(nothingPauses(), Visibility::Visible, inactive).reasons,
                ElementsAre("locked"));
}

TEST(PausePolicy, NamesALockedSessionWithoutScreensOnce) {
    SessionState session = with(&SessionState::isInactive);
    session.isLocked = true;
    EXPECT_THAT(decide({}, Visibility::Visible, session).reasons, ElementsAre("locked"));
}

TEST(PausePolicy, RestsInAnIdleSessionUnlessToldOtherwise) {
    const SessionState idle = with(&SessionState::isIdle);
    EXPECT_THAT(decide({}, Visibility::Visible, idle).reasons, ElementsAre("idle"));
    EXPECT_THAT(decide(nothingPauses(), Visibility::Visible, idle).reasons, IsEmpty());
}

TEST(PausePolicy, RestsWhileTheMachineSleeps) {
    EXPECT_THAT(decide(nothingPauses(), Visibility::Visible, with(&SessionState::isAsleep)).reasons,
                ElementsAre("asleep"));
}

TEST(PausePolicy, DoesOnBatteryWhatItIsTold) {
    const SessionState battery = with(&SessionState::isOnBattery);
    EXPECT_EQ(decide(onBattery(OnBattery::Run), Visibility::Visible, battery), PauseDecision());
    EXPECT_EQ(decide(onBattery(OnBattery::Slow), Visibility::Visible, battery),
              (PauseDecision{{}, true}));
    EXPECT_EQ(decide(onBattery(OnBattery::Pause), Visibility::Visible, battery),
              (PauseDecision{{"battery"}, false}));
}

TEST(PausePolicy, DoesNothingAboutABatteryThatIsNotUsed) {
    EXPECT_EQ(decide(onBattery(OnBattery::Slow), Visibility::Visible), PauseDecision());
    EXPECT_EQ(decide(onBattery(OnBattery::Pause), Visibility::Visible), PauseDecision());
}

TEST(PausePolicy, NamesEveryReason) {
    SessionState all{true, true, true, true, true};
    EXPECT_THAT(decide(onBattery(OnBattery::Pause), Visibility::Covered, all, true).reasons,
                ElementsAre("user", "asleep", "locked", "idle", "covered", "battery"));
}

TEST(PausePolicy, RestsWhenTheUserSaysSo) {
    EXPECT_THAT(decide(nothingPauses(), Visibility::Visible, {}, true).reasons,
                ElementsAre("user"));
}

} // namespace
