#include "Host/Displays/X11/X11Connection.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

class NoListener final : public X11Listener {
    void eventArrived(const X11Event &) override {}
    void eventsEnded() override {}
    void connectionLost(const std::string &) override {}
};

class X11ConnectionTest : public X11ScreenTest {
  protected:
    DescriptorWaiter _waiter;
    NoListener _listener;
};

TEST_F(X11ConnectionTest, DoesNotWaitForAServerThatWasStopped) {
    startScreen();
    const auto start = std::chrono::steady_clock::now();
    kill(screen->server(), SIGSTOP);
    try {
        const X11Connection connection(_waiter, _listener);
        ADD_FAILURE() << "it is connected";
    } catch (const HostError &error) {
        EXPECT_THAT(error.what(), HasSubstr("does not answer"));
    }
    kill(screen->server(), SIGCONT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(45));
    EXPECT_NO_THROW(X11Connection(_waiter, _listener));
}

} // namespace
