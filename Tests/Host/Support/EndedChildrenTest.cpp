#include "Host/Support/EndedChildren.h"

#include "Tests/Host/Support/ProcessHolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;

namespace {

pid_t childThat(void (*deed)()) {
    const pid_t child = fork();
    if (child == 0) {
        deed();
        _exit(3);
    }
    return child;
}

void sleepForEver() {
    for (;;) {
        pause();
    }
}

class EndedChildrenTest : public SimulatedTimeTest {};

TEST_F(EndedChildrenTest, HaveAStatus) {
    const std::optional<int> status = EndedChildren::take(childThat([] {}));
    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 3);
    EXPECT_FALSE(EndedChildren::take(-1));
}

TEST_F(EndedChildrenTest, AreTakenLaterWhenSomethingHoldsThem) {
    const pid_t child = childThat(sleepForEver);
    std::optional<ProcessHolder> holder(std::in_place, child);
    if (!holder->holds()) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        GTEST_SKIP() << "no process may trace another here";
    }
    kill(child, SIGKILL);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(EndedChildren::take(child));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    runForSeconds(1);
    siginfo_t state{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT), 0)
        << "it is still there";
    holder.reset();
    // Its parent is told of the end as soon as the tracer is gone.
    while (waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT) == 0) {
        runForSeconds(1);
    }
    EXPECT_EQ(errno, ECHILD);
}

} // namespace
