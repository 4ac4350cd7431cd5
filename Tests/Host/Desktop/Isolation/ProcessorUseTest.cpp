#include "Host/Desktop/Isolation/ProcessorUse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Lumivera;
using Verdict = ProcessorUse::Verdict;

namespace {

/// A view that is judged once a second, as the host does.
class ProcessorUseTest : public ::testing::Test {
  protected:
    ProcessorUseTest() { judge(); }

    Verdict judge() { return _use.judge(_now, _seconds, _pictures); }

    /// A second of that many seconds of processor time and pictures.
    Verdict second(double used, unsigned pictures) {
        _now += 1'000'000'000;
        _seconds += used;
        _pictures += pictures;
        return judge();
    }

    /// After how many such seconds the verdict is reached; nothing within an hour.
    std::optional<int> secondsUntil(Verdict verdict, double used, unsigned pictures) {
        for (int i = 1; i <= 3600; ++i) {
            if (second(used, pictures) == verdict) {
                return i;
            }
        }
        return std::nullopt;
    }

    ProcessorUse _use;
    Clock::Nanoseconds _now = 5'000'000'000;
    double _seconds = 0;
    std::uint64_t _pictures = 0;
};

TEST_F(ProcessorUseTest, LetsHalfACoreBe) {
    EXPECT_EQ(secondsUntil(Verdict::Busy, 0.5, 40), std::nullopt);
}

TEST_F(ProcessorUseTest, FindsAWholeCoreBusyAfterTwoSeconds) {
    second(0, 40);
    EXPECT_EQ(secondsUntil(Verdict::Busy, 1, 40), 2);
}

TEST_F(ProcessorUseTest, FindsManyThreadsBusyAtOnce) {
    second(0, 40);
    EXPECT_EQ(secondsUntil(Verdict::Busy, 8, 40), 1);
}

TEST_F(ProcessorUseTest, LetsAWallpaperLoadForAsLongAsItIsWaitedFor) {
    EXPECT_EQ(second(1, 0), Verdict::Fine);
    EXPECT_EQ(second(1, 0), Verdict::Fine);
    EXPECT_EQ(second(1, 0), Verdict::Fine);
    EXPECT_EQ(second(1, 0), Verdict::Fine);
    EXPECT_EQ(second(1, 0), Verdict::Fine);
    EXPECT_EQ(second(1, 1), Verdict::Fine) << "what loading took is forgotten";
    EXPECT_EQ(second(1, 40), Verdict::Fine);
}

TEST_F(ProcessorUseTest, FindsMoreThanOneCoreBusyWhileItLoads) {
    EXPECT_EQ(secondsUntil(Verdict::Busy, 2, 0), 2);
}

TEST_F(ProcessorUseTest, ForgetsAShortBurst) {
    second(0, 40);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(second(1.4, 40), Verdict::Fine);
        EXPECT_EQ(second(0, 40), Verdict::Fine);
        EXPECT_EQ(second(0, 40), Verdict::Fine);
    }
}

TEST_F(ProcessorUseTest, IsNotDeceivedByPauses) {
    second(0, 40);
    std::optional<int> found;
    for (int i = 0; i < 20 && !found; ++i) {
        second(2, 40);
        found = second(0, 40) == Verdict::Busy ? std::optional(i) : std::nullopt;
    }
    EXPECT_TRUE(found);
}

TEST_F(ProcessorUseTest, FindsACoreExcessiveAfterTwentySecondsWithoutPictures) {
    second(0, 1);
    EXPECT_EQ(secondsUntil(Verdict::Excessive, 1, 0), 20);
}

TEST_F(ProcessorUseTest, DoesNotFindDrawingExcessive) {
    EXPECT_EQ(secondsUntil(Verdict::Excessive, 1, 40), std::nullopt);
}

TEST_F(ProcessorUseTest, FindsThreadsBesideDrawingExcessive) {
    second(0, 40);
    const auto seconds = secondsUntil(Verdict::Excessive, 2, 40);
    ASSERT_TRUE(seconds);
    EXPECT_EQ(*seconds, 20);
}

/// A child with some threads; tells by the pipe when they run.
[[noreturn]] void waitWithThreads(int told) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();
    for (int i = 0; i < 5; ++i) {
        std::thread([] { pause(); }).detach();
    }
    static_cast<void>(!write(told, "x", 1));
    pause();
    _exit(0);
}

TEST(MakeIdleTest, LetsEveryThreadGiveWay) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        waitWithThreads(ends[1]);
    }
    char told = 0;
    EXPECT_EQ(read(ends[0], &told, 1), 1);
    makeIdle(child);
    std::vector<int> policies;
    const std::string folder = "/proc/" + std::to_string(child);
    for (const auto &thread : std::filesystem::directory_iterator(folder + "/task")) {
        policies.push_back(sched_getscheduler(std::stoi(thread.path().filename())));
    }
    EXPECT_GE(policies.size(), 6U); // sanitizers add some of their own
    EXPECT_THAT(policies, testing::Each(SCHED_IDLE));
    std::ifstream group(folder + "/autogroup");
    if (std::string text; std::getline(group, text)) {
        EXPECT_THAT(text, testing::EndsWith("nice 19"));
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ProcessorUseTest, LeavesOutTheTimeOfARest) {
    second(0, 40);
    _use.rest();
    EXPECT_EQ(second(100, 0), Verdict::Fine);
}

} // namespace
