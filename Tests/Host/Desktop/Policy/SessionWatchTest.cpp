#include "Host/Desktop/Policy/SessionWatch.h"
#include "Tests/Host/Desktop/Policy/FakeSystem.h"
#include "Tests/Host/Support/RealTimeLoop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>

using namespace Lumivera;

namespace {

class Recorder final : public SessionWatch::Listener {
  public:
    void sessionChanged(const SessionState &state) override {
        ++count;
        last = state;
    }

    int count = 0;
    SessionState last;
};

/// A fake /sys/class/power_supply with a mains supply and a battery.
class FakeSupplies {
  public:
    FakeSupplies() {
        _folder.makeFolder("AC");
        _folder.makeFolder("BAT0");
        _folder.write("AC/type", "Mains\n");
        _folder.write("BAT0/type", "Battery\n");
        set("1", "Charging");
    }

    void set(const std::string &online, const std::string &status) {
        _folder.write("AC/online", online + "\n");
        _folder.write("BAT0/status", status + "\n");
    }

    const TemporaryFolder &folder() const { return _folder; }

  private:
    TemporaryFolder _folder;
};

class SessionWatchTest : public ::testing::Test {
  protected:
    SessionWatchTest() { unsetenv("XDG_SESSION_ID"); }

    void open() {
        _watch.emplace(_waiter, _supplies.folder().path());
        _watch->setListener(&_recorder);
    }

    /// Serves the services and the main run loop until the condition holds.
    bool becomes(const std::function<bool()> &condition) {
        return serveUntil(
            [&] {
                if (_services) {
                    _services->serve();
                }
                return condition();
            },
            20);
    }

    bool becomes(bool SessionState::*flag, bool value = true) {
        return becomes([&] { return _watch->state().*flag == value; });
    }

    bool findsTheSession() {
        return becomes([&] { return _watch->hasLogind() && _watch->hasUPower(); });
    }

    FakeSystem _system;
    FakeSupplies _supplies;
    DescriptorWaiter _waiter;
    Recorder _recorder;
    std::optional<FakeServices> _services;
    std::optional<SessionWatch> _watch;
};

TEST_F(SessionWatchTest, ReadsHowItIsWhenItBegins) {
    _services.emplace();
    _services->setLocked(true);
    _services->setIdle(true);
    _services->setActive(false);
    _services->setOnBattery(true);
    open();
    EXPECT_EQ(_watch->state(), SessionState());
    EXPECT_TRUE(becomes([&] {
        return _watch->state() == SessionState{true, true, false, true, true};
    }));
}

TEST_F(SessionWatchTest, FollowsTheSessionAndTheMachine) {
    _services.emplace();
    open();
    ASSERT_TRUE(findsTheSession());
    EXPECT_EQ(_recorder.count, 0);
    _services->setLocked(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
    _services->setIdle(true);
    EXPECT_TRUE(becomes(&SessionState::isIdle));
    _services->setActive(false);
    EXPECT_TRUE(becomes(&SessionState::isInactive));
    _services->setOnBattery(true);
    EXPECT_TRUE(becomes(&SessionState::isOnBattery));
    _services->prepareForSleep(true);
    EXPECT_TRUE(becomes(&SessionState::isAsleep));
    EXPECT_EQ(_recorder.count, 5);
    _services->setLocked(false);
    EXPECT_TRUE(becomes(&SessionState::isLocked, false));
    _services->setIdle(false);
    EXPECT_TRUE(becomes(&SessionState::isIdle, false));
    _services->setActive(true);
    EXPECT_TRUE(becomes(&SessionState::isInactive, false));
    _services->setOnBattery(false);
    EXPECT_TRUE(becomes(&SessionState::isOnBattery, false));
    _services->prepareForSleep(false);
    EXPECT_TRUE(becomes(&SessionState::isAsleep, false));
    EXPECT_EQ(_recorder.last, SessionState());
}

TEST_F(SessionWatchTest, FindsTheSessionThatTheEnvironmentNames) {
    setenv("XDG_SESSION_ID", "c1", 1);
    _services.emplace();
    _services->setSessionByProcess(false);
    _services->setSessionByName("c1");
    _services->setDisplaySession(false);
    open();
    EXPECT_TRUE(findsTheSession());
    unsetenv("XDG_SESSION_ID");
}

TEST_F(SessionWatchTest, FindsTheUsersGraphicalSession) {
    setenv("XDG_SESSION_ID", "gone", 1);
    _services.emplace();
    _services->setSessionByProcess(false);
    open();
    ASSERT_TRUE(findsTheSession());
    _services->setLocked(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
    unsetenv("XDG_SESSION_ID");
}

TEST_F(SessionWatchTest, GoesOnWithoutASession) {
    _services.emplace();
    _services->setSessionByProcess(false);
    _services->setDisplaySession(false);
    open();
    _services->setOnBattery(true);
    EXPECT_TRUE(becomes(&SessionState::isOnBattery));
    EXPECT_FALSE(_watch->hasLogind());
    _services->prepareForSleep(true);
    EXPECT_TRUE(becomes(&SessionState::isAsleep));
}

TEST_F(SessionWatchTest, PicksUpServicesThatStartLater) {
    open();
    NSRunLoop::mainRunLoop().runForSeconds(0.1);
    EXPECT_FALSE(_watch->hasLogind());
    EXPECT_FALSE(_watch->hasUPower());
    _services.emplace();
    EXPECT_TRUE(findsTheSession());
    _services->setLocked(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
}

TEST_F(SessionWatchTest, TakesNothingForGrantedWhenTheServicesGo) {
    _services.emplace();
    open();
    ASSERT_TRUE(findsTheSession());
    _services->setLocked(true);
    _services->setOnBattery(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
    EXPECT_TRUE(becomes(&SessionState::isOnBattery));
    _services.reset();
    EXPECT_TRUE(becomes([&] { return _watch->state() == SessionState(); }));
    EXPECT_FALSE(_watch->hasLogind());
    EXPECT_FALSE(_watch->hasUPower());
    _services.emplace();
    _services->setLocked(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
}

TEST_F(SessionWatchTest, GoesOnWithoutItsBus) {
    _services.emplace();
    open();
    ASSERT_TRUE(findsTheSession());
    _services->setLocked(true);
    EXPECT_TRUE(becomes(&SessionState::isLocked));
    _services.reset();
    _system.killBus();
    EXPECT_TRUE(becomes([&] { return _watch->state() == SessionState(); }));
    EXPECT_LT(costOfIdling(), 0.1);
}

TEST_F(SessionWatchTest, FindsNothingWithoutABus) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    open();
    NSRunLoop::mainRunLoop().runForSeconds(0.05);
    EXPECT_EQ(_watch->state(), SessionState());
    EXPECT_FALSE(_watch->hasLogind());
    EXPECT_FALSE(_watch->hasUPower());
}

TEST_F(SessionWatchTest, DoesNotWaitForServicesThatDoNotAnswer) {
    _services.emplace();
    const auto start = std::chrono::steady_clock::now();
    open();
    EXPECT_LT(costOfIdling(), 0.1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_FALSE(_watch->hasLogind());
    EXPECT_TRUE(findsTheSession());
}

TEST_F(SessionWatchTest, CostsNothingWhileNothingHappens) {
    _services.emplace();
    open();
    ASSERT_TRUE(findsTheSession());
    EXPECT_LT(costOfIdling(), 0.05);
}

TEST_F(SessionWatchTest, AsksTheKernelWithoutAPowerService) {
    _supplies.set("0", "Discharging");
    _services.emplace(FakeServices::Names{true, false});
    open();
    EXPECT_TRUE(_watch->state().isOnBattery);
    _supplies.set("1", "Charging");
    _watch->refresh();
    EXPECT_FALSE(_watch->state().isOnBattery);
    EXPECT_EQ(_recorder.count, 1);
}

TEST_F(SessionWatchTest, BelievesAPowerServiceMoreThanTheKernel) {
    _supplies.set("0", "Discharging");
    open();
    EXPECT_TRUE(_watch->state().isOnBattery);
    _services.emplace();
    EXPECT_TRUE(becomes(&SessionState::isOnBattery, false));
    _services.reset();
    EXPECT_TRUE(becomes(&SessionState::isOnBattery));
}

TEST_F(SessionWatchTest, IsOnBatteryOnlyWhenTheMachinesOwnEmptiesAndNothingFeedsIt) {
    const auto isOnBattery = [this] {
        return PowerSupplyWatch::readFolder(_supplies.folder().path());
    };
    EXPECT_FALSE(isOnBattery());
    _supplies.set("0", "Discharging");
    EXPECT_TRUE(isOnBattery());
    _supplies.set("1", "Discharging");
    EXPECT_FALSE(isOnBattery());
    _supplies.set("0", "Full");
    EXPECT_FALSE(isOnBattery());
    _supplies.set("0", "Discharging");
    _supplies.folder().write("BAT0/scope", "Device\n");
    EXPECT_FALSE(isOnBattery());
    EXPECT_FALSE(PowerSupplyWatch::readFolder("/nonexistent"));
}

} // namespace
