#include "Host/Desktop/Isolation/Sandbox.h"

#include "Tests/Host/Desktop/Isolation/LandlockLayers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

const Sandbox::Limits kLimits{{"/"}, std::uint64_t{1} << 40};

/// Enters the sandbox and prints which protections were refused.
void enterSandbox() {
    const std::vector<Sandbox::Protection> protections = Sandbox::available();
    const std::uint32_t refused = Sandbox::enter(kLimits);
    for (std::size_t i = 0; i < protections.size(); ++i) {
        if ((refused >> i & 1) != 0) {
            std::fprintf(stderr, "%s;", protections[i].name.c_str());
        }
    }
}

// These run in child processes, because a sandbox cannot be left.

[[noreturn]] void confine() {
    enterSandbox();
    _exit(0);
}

[[noreturn]] void confineWithoutLandlock() {
    useUpLandlock();
    confine();
}

[[noreturn]] void confineWhatMayOpenLittle() {
    rlimit limit{64, 64};
    setrlimit(RLIMIT_NOFILE, &limit);
    enterSandbox();
    getrlimit(RLIMIT_NOFILE, &limit);
    _exit(limit.rlim_cur == 64 && limit.rlim_max == 64 ? 0 : 1);
}

bool hasLandlock() { return Sandbox::available().at(1).holds; }

TEST(SandboxTest, IsGivenAllThatTheKernelHas) {
    EXPECT_EXIT(confine(), testing::ExitedWithCode(0), "^$");
}

TEST(SandboxTest, LeavesTighterLimitsAlone) {
    EXPECT_EXIT(confineWhatMayOpenLittle(), testing::ExitedWithCode(0), "^$");
}

TEST(SandboxTest, SaysWhatTheKernelRefuses) {
    if (!hasLandlock()) {
        GTEST_SKIP() << "needs a kernel with Landlock";
    }
    const std::string signals =
        Sandbox::available().at(2).holds ? "no signals to other programs (Landlock);" : "";
    EXPECT_EXIT(confineWithoutLandlock(), testing::ExitedWithCode(0),
                testing::StrEq("no files but for reading the wallpaper (Landlock);" + signals));
}

} // namespace
