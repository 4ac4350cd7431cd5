#include "Host/Displays/Wayland/SwayWindows.h"

#include "Tests/Host/Displays/Wayland/FakeSway.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>

#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::ElementsAre;

namespace {

constexpr auto kSubscribe = FakeSway::kSubscribe;
constexpr auto kGetTree = FakeSway::kGetTree;

/// Serves one source when the test says so.
class ManualWatch final : public DescriptorWatch {
  public:
    void add(DescriptorSource &source) override { _source = &source; }
    void remove(DescriptorSource &) override { _source = nullptr; }

    bool hasSource() const { return _source != nullptr; }

    /// Serves as long as there is something to read.
    void serve() {
        while (_source) {
            pollfd polled{_source->descriptor(), POLLIN, 0};
            if (poll(&polled, 1, 0) <= 0) {
                return;
            }
            _source->serve();
        }
    }

  private:
    DescriptorSource *_source = nullptr;
};

class SwayWindowsTest : public SimulatedTimeTest {
  protected:
    void SetUp() override {
        SimulatedTimeTest::SetUp();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, _ends), 0);
        windows.emplace(watch, [this] { ++changes; });
        windows->follow(_ends[0]);
    }

    void TearDown() override {
        windows.reset();
        close(_ends[0]);
        close(_ends[1]);
        SimulatedTimeTest::TearDown();
    }

    void say(std::uint32_t kind, const std::string &text) {
        sway.say(kind, text);
        watch.serve();
    }

    int compositor() const { return _ends[0]; }

    FakeSway sway;
    ManualWatch watch;
    std::optional<SwayWindows> windows;
    int changes = 0;

  private:
    int _ends[2] = {-1, -1};
};

TEST_F(SwayWindowsTest, AsksForEventsAndForTheTree) {
    EXPECT_TRUE(windows->isSway());
    EXPECT_FALSE(windows->isKnown());
    EXPECT_THAT(sway.requests(), ElementsAre(kSubscribe, kGetTree));
    say(kSubscribe, R"({"success": true})");
    EXPECT_EQ(changes, 0);
    say(kGetTree, FakeSway::tree(""));
    EXPECT_TRUE(windows->isKnown());
    EXPECT_EQ(changes, 1);
}

TEST_F(SwayWindowsTest, AsksOnlyOnceMoreHoweverManyEventsComeBeforeTheAnswer) {
    for (int i = 0; i < 100; ++i) {
        say(FakeSway::kWorkspaceEvent, "{}");
    }
    EXPECT_THAT(sway.requests(), ElementsAre(kSubscribe, kGetTree));
    say(kGetTree, FakeSway::tree(""));
    EXPECT_THAT(sway.requests(), ElementsAre(kSubscribe, kGetTree, kGetTree));
    say(kGetTree, FakeSway::tree(""));
    EXPECT_EQ(sway.requests().size(), 3U);
}

TEST_F(SwayWindowsTest, IsNotMovedByNewTitles) {
    say(kGetTree, FakeSway::tree(""));
    say(FakeSway::kWindowEvent, R"({ "change": "title", "container": { } })");
    EXPECT_EQ(sway.requests().size(), 2U);
    say(FakeSway::kWindowEvent, R"({ "change": "close", "container": { } })");
    EXPECT_EQ(sway.requests().size(), 3U);
}

TEST_F(SwayWindowsTest, ReadsMessagesThatComeInPieces) {
    for (const char byte : FakeSway::message(kGetTree, FakeSway::tree(""))) {
        sway.send(std::string(1, byte));
        watch.serve();
    }
    EXPECT_TRUE(windows->isKnown());
}

TEST_F(SwayWindowsTest, ForgetsTheTreeWhenSwayHangsUp) {
    say(kGetTree, FakeSway::tree(""));
    sway.hangUp();
    watch.serve();
    EXPECT_FALSE(windows->isKnown());
    EXPECT_TRUE(windows->isSway());
    EXPECT_EQ(changes, 2);
    EXPECT_FALSE(watch.hasSource());
}

TEST_F(SwayWindowsTest, GivesUpWithoutAnAnswer) {
    NSRunLoop::mainRunLoop().runForSeconds(SwaySocket::kAnswerSeconds + 1);
    EXPECT_FALSE(watch.hasSource());
    EXPECT_EQ(changes, 1);
}

TEST_F(SwayWindowsTest, WaitsForNothingOnceItHasTheAnswers) {
    say(kSubscribe, R"({"success": true})");
    say(kGetTree, FakeSway::tree(""));
    NSRunLoop::mainRunLoop().runForSeconds(10 * SwaySocket::kAnswerSeconds);
    EXPECT_TRUE(windows->isKnown());
}

class SwayNoMessage : public SwayWindowsTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(SwayNoMessage, EndsTheConnection) {
    say(kGetTree, FakeSway::tree(""));
    sway.send(GetParam());
    watch.serve();
    EXPECT_FALSE(watch.hasSource());
    EXPECT_FALSE(windows->isKnown());
    EXPECT_EQ(changes, 2);
}

INSTANTIATE_TEST_SUITE_P(Bytes, SwayNoMessage,
                         ::testing::Values(std::string(100, 'x'), "i3-ipx12345678",
                                           std::string("i3-ipc\0\0\0\x7f\4\0\0\0", 14)),
                         [](const auto &info) { return "Number" + std::to_string(info.index); });

TEST_F(SwayWindowsTest, IsWithoutATreeWhenTheAnswerIsNone) {
    for (const char *text : {"", "{", "[1, 2]", "\xff\xff", R"({"type": "output"})"}) {
        say(kGetTree, text);
        EXPECT_FALSE(windows->isKnown()) << text;
    }
    say(kGetTree, FakeSway::tree(""));
    EXPECT_TRUE(windows->isKnown());
}

TEST_F(SwayWindowsTest, IsNotSwayWhereTheSocketBelongsToAnotherProgram) {
    windows->follow(-1);
    EXPECT_FALSE(windows->isSway());
    EXPECT_FALSE(watch.hasSource());
}

TEST_F(SwayWindowsTest, FindsTheSocketWithoutTheVariable) {
    FakeSway other(FakeSway::Place::Usual);
    windows->follow(compositor());
    EXPECT_TRUE(windows->isSway());
    EXPECT_THAT(other.requests(), ElementsAre(kSubscribe, kGetTree));
}

TEST_F(SwayWindowsTest, FindsTheSocketWhereTheVariableIsOfAnotherSession) {
    FakeSway other(FakeSway::Place::Usual);
    const EnvironmentVariable variable("SWAYSOCK", "/no/such");
    windows->follow(compositor());
    EXPECT_TRUE(windows->isSway());
}

TEST_F(SwayWindowsTest, IsNotSwayWithoutItsSocket) {
    for (const char *path : {static_cast<const char *>(nullptr), "", "/dev/null", "/no/such"}) {
        const EnvironmentVariable variable("SWAYSOCK", path);
        windows->follow(0);
        EXPECT_FALSE(windows->isSway());
    }
    const EnvironmentVariable variable("SWAYSOCK", std::string(200, 'x').c_str());
    windows->follow(0);
    EXPECT_FALSE(windows->isSway());
}

} // namespace
