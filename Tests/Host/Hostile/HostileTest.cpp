#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Hostile/Deeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <set>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::Ge;
using ::testing::IsEmpty;

namespace {

constexpr std::size_t kMinDeeds = 60;
constexpr unsigned kPatience = 20; // seconds, which only a failure takes

enum Status : int { kFailed = 10, kSucceeded = 11 };

/// The walls that stand, and the version of Landlock that the kernel seems to have.
struct Setup {
    const char *name;
    unsigned walls;
    int landlock = INT_MAX;
};

void PrintTo(const Setup &setup, std::ostream *stream) { *stream << setup.name; }

std::vector<Deed> allDeeds() {
    std::vector<Deed> all;
    for (const auto *family : {&fileDeeds(), &processDeeds(), &connectionDeeds(), &systemDeeds()}) {
        all.insert(all.end(), family->begin(), family->end());
    }
    return all;
}

[[noreturn]] void doDeed(const Deed &deed, const Setup &setup, const Victims &victims) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(kPatience);
    Sandbox::Rules rules;
    rules.folder = victims.bundle();
    rules.bytes = std::uint64_t{1} << 40;
    rules.walls = setup.walls;
    rules.newestLandlock = setup.landlock;
    Sandbox::enter(rules);
    _exit(deed.succeeds(victims) ? kSucceeded : kFailed);
}

/// Whether the deed succeeds behind those walls.
bool succeeds(const Deed &deed, const Setup &setup) {
    const Victims victims;
    const pid_t child = fork();
    if (child == 0) {
        doDeed(deed, setup, victims);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == kFailed ||
                WEXITSTATUS(status) == kSucceeded)
        << deed.name << " was not done";
    return deed.hasHappened ? deed.hasHappened(victims)
                            : WIFEXITED(status) && WEXITSTATUS(status) == kSucceeded;
}

/// The deeds that this kernel lets the user do where there are no walls.
const std::set<std::string> &possibleDeeds() {
    static const std::set<std::string> possible = [] {
        std::set<std::string> names;
        for (const Deed &deed : allDeeds()) {
            if (succeeds(deed, {"", 0})) {
                names.insert(deed.name);
            }
        }
        return names;
    }();
    return possible;
}

/// Of those walls, the ones that the kernel offers.
unsigned offered(unsigned walls) {
    static const std::vector<Sandbox::Protection> protections = Sandbox::tryOut();
    const unsigned here = (protections[1].holds ? Sandbox::kNamespaces : 0U) |
                          (protections[2].holds ? Sandbox::kFileRules : 0U) |
                          (protections[4].holds ? Sandbox::kCallFilter : 0U) | Sandbox::kLimits;
    return walls & here;
}

/// Whether one of the walls is said to stop the deed.
bool isStopped(const Deed &deed, const Setup &setup) {
    unsigned stoppers = deed.stoppers;
    if (std::min(setup.landlock, FileRules::version()) < deed.landlock) {
        stoppers &= ~static_cast<unsigned>(Sandbox::kFileRules);
    }
    return (stoppers & offered(setup.walls)) != 0;
}

class HostileTest : public ::testing::TestWithParam<Setup> {};

TEST_P(HostileTest, SucceedsInNothing) {
    if (offered(GetParam().walls) != GetParam().walls) {
        GTEST_SKIP() << "this kernel does not offer these walls";
    }
    std::vector<std::string> successes;
    int stopped = 0;
    for (const Deed &deed : allDeeds()) {
        if (!possibleDeeds().contains(deed.name) || !isStopped(deed, GetParam())) {
            continue;
        }
        ++stopped;
        if (succeeds(deed, GetParam())) {
            successes.emplace_back(deed.name);
        }
    }
    RecordProperty("stopped", stopped);
    EXPECT_THAT(successes, IsEmpty());
    EXPECT_GT(stopped, 0);
}

constexpr unsigned kNamespaces = Sandbox::kNamespaces;
constexpr unsigned kLandlock = Sandbox::kFileRules;
constexpr unsigned kSeccomp = Sandbox::kCallFilter;
constexpr unsigned kLimits = Sandbox::kLimits;

INSTANTIATE_TEST_SUITE_P(
    Behind, HostileTest,
    ::testing::Values(Setup{"AllWalls", Sandbox::kAllWalls},
                      Setup{"AllButNamespaces", kLandlock | kSeccomp | kLimits},
                      Setup{"AllButLandlock", kNamespaces | kSeccomp | kLimits},
                      Setup{"AllButSeccomp", kNamespaces | kLandlock | kLimits},
                      Setup{"AllButLimits", kNamespaces | kLandlock | kSeccomp},
                      Setup{"NamespacesAlone", kNamespaces}, Setup{"LandlockAlone", kLandlock},
                      Setup{"SeccompAlone", kSeccomp}, Setup{"LimitsAlone", kLimits},
                      Setup{"FirstLandlockAlone", kLandlock, 1},
                      Setup{"FirstLandlockAndSeccomp", kLandlock | kSeccomp, 1},
                      Setup{"ThirdLandlockAlone", kLandlock, 3},
                      Setup{"FourthLandlockAlone", kLandlock, 4},
                      Setup{"FifthLandlockAndSeccomp", kLandlock | kSeccomp, 5}),
    [](const auto &info) { return info.param.name; });

TEST(HostileDeedsTest, AreManyAndPossibleWhereThereAreNoWalls) {
    EXPECT_THAT(allDeeds().size(), Ge(kMinDeeds));
    std::string impossible;
    for (const Deed &deed : allDeeds()) {
        impossible += possibleDeeds().contains(deed.name) ? "" : std::string(deed.name) + "; ";
    }
    RecordProperty("impossible", impossible);
    EXPECT_THAT(possibleDeeds().size(), Ge(kMinDeeds)) << "impossible here: " << impossible;
}

/// Two walls at least stop whatever reaches anything outside. One wall alone stops what only spends
/// the kernel's memory or time.
TEST(HostileDeedsTest, AreStoppedByTwoWallsWhereTheyReachOutside) {
    const auto bits = [](unsigned walls) { return __builtin_popcount(walls); };
    for (const auto *family : {&fileDeeds(), &processDeeds(), &connectionDeeds()}) {
        for (const Deed &deed : *family) {
            EXPECT_GE(bits(deed.stoppers), 2) << deed.name;
        }
    }
}

} // namespace
