#include "Host/Support/OutputFile.h"
#include "Host/Support/Processes.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;

namespace {

/// Runs the action in a child process with the program's signals; returns how that ended.
int statusAfter(const std::function<void()> &action) {
    const pid_t child = fork();
    if (child == 0) {
        prepareSignals();
        action();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST(Signals, EndTheProgramOnlyAfterItsUnfinishedFilesAreGone) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGXCPU}) {
        const TemporaryFolder folder;
        const int status = statusAfter([&] {
            const OutputFile file(folder.pathOf("x"));
            if (!std::filesystem::is_empty(folder.path())) {
                raise(signal);
            }
        });
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << signal;
    }
}

TEST(Signals, ThatOnlyTellSomethingAreIgnored) {
    for (const int signal : {SIGUSR1, SIGUSR2, SIGIO, SIGPIPE, SIGXFSZ, SIGRTMIN, SIGRTMAX}) {
        EXPECT_EQ(statusAfter([signal] { raise(signal); }), 0) << signal;
    }
}

TEST(Signals, StayIgnoredWhereTheParentIgnoredThem) {
    EXPECT_EQ(statusAfter([] {
                  std::signal(SIGHUP, SIG_IGN);
                  prepareSignals();
                  raise(SIGHUP);
                  const SignalWatch watch([] { _exit(1); });
                  raise(SIGHUP);
              }),
              0);
}

TEST(Signals, HaveTheirUsualActionInOtherPrograms) {
    const int status = statusAfter([] {
        const int child = spawnProgram({"sh", "-c", "kill -USR1 $$"}, {-1, -1, -1}, {});
        int result = -1;
        waitpid(child, &result, 0);
        _exit(WIFSIGNALED(result) ? WTERMSIG(result) : 0);
    });
    EXPECT_EQ(WEXITSTATUS(status), SIGUSR1);
}

} // namespace
