#include "Host/Desktop/Isolation/Sandbox.h"

#include "Tests/Host/Desktop/Isolation/LandlockLayers.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::HasSubstr;

namespace {

constexpr unsigned kMaxThreads = 50;

Sandbox::Rules rules() {
    Sandbox::Rules rules;
    rules.bytes = std::uint64_t{1} << 40;
    rules.threads = kMaxThreads;
    return rules;
}

/// Enters the sandbox and prints which protections were refused.
void enterSandbox(const Sandbox::Rules &entered = rules()) {
    const Sandbox::Entry entry = Sandbox::enter(entered);
    const std::vector<std::string> &names = Sandbox::protectionNames();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if ((entry.refused >> i & 1) != 0) {
            std::fprintf(stderr, "%s;", names[i].c_str());
        }
    }
}

bool holds(std::size_t protection) { return Sandbox::tryOut().at(protection).holds; }
bool hasNamespaces() { return holds(1); }
bool hasLandlock() { return holds(2); }

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

/// Exits with 0 when the path can be read within a sandbox of those walls.
[[noreturn]] void readBehind(unsigned walls, const std::string &folder, const std::string &path) {
    Sandbox::Rules entered = rules();
    entered.folder = folder;
    entered.walls = walls;
    enterSandbox(entered);
    const int file = open(path.c_str(), O_RDONLY);
    _exit(file >= 0 ? 0 : 1);
}

/// What the C library takes for random numbers since version 2.41, in memory that the kernel may
/// take away. Exits with 0 unless that is refused; older kernels know no such memory.
[[noreturn]] void takeDroppableMemory() {
    constexpr int kDroppable = 0x08;
    enterSandbox();
    const void *const memory =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, kDroppable | MAP_ANONYMOUS, -1, 0);
    _exit(memory != MAP_FAILED || errno == EINVAL ? 0 : 1);
}

void *sleepForEver(void *) {
    for (;;) {
        pause();
    }
}

/// Exits with 0 when a user other than root gets threads up to the limit, and not one more.
[[noreturn]] void multiply() {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
        _exit(2);
    }
    prctl(PR_SET_DUMPABLE, 1); // as that user's own program would be
    enterSandbox();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{64} << 10);
    unsigned threads = 1;
    pthread_t thread;
    while (threads < 3000 && pthread_create(&thread, &attributes, sleepForEver, nullptr) == 0) {
        ++threads;
    }
    // The process that waits for this one counts as well.
    _exit(threads == kMaxThreads - 1 ? 0 : 1);
}

TEST(SandboxTest, IsGivenAllThatTheKernelHas) {
    EXPECT_EXIT(confine(), testing::ExitedWithCode(0), "^$");
}

TEST(SandboxTest, AllowsMemoryForRandomNumbers) {
    EXPECT_EXIT(takeDroppableMemory(), testing::ExitedWithCode(0), "^$");
}

TEST(SandboxTest, LeavesTighterLimitsAlone) {
    EXPECT_EXIT(confineWhatMayOpenLittle(), testing::ExitedWithCode(0), "^$");
}

TEST(SandboxTest, TriesWhatHoldsAndNamesIt) {
    const std::vector<Sandbox::Protection> tried = Sandbox::tryOut();
    ASSERT_EQ(tried.size(), Sandbox::protectionNames().size());
    for (std::size_t i = 0; i < tried.size(); ++i) {
        EXPECT_EQ(tried[i].name, Sandbox::protectionNames()[i]);
    }
    EXPECT_TRUE(tried[0].holds);
    EXPECT_TRUE(tried[4].holds) << "every kernel that we know has seccomp";
    EXPECT_TRUE(tried[5].holds);
}

TEST(SandboxTest, SaysWhatTheKernelRefuses) {
    if (!hasLandlock()) {
        GTEST_SKIP() << "needs a kernel with Landlock";
    }
    std::string refused;
    for (const std::size_t protection : {2, 3}) {
        refused += holds(protection) ? Sandbox::protectionNames()[protection] + ";" : "";
    }
    EXPECT_EXIT(confineWithoutLandlock(), testing::ExitedWithCode(0), testing::StrEq(refused));
}

TEST(SandboxTest, StopsThreadsAtTheirLimit) {
    if (!hasNamespaces()) {
        GTEST_SKIP() << "needs user namespaces";
    }
    EXPECT_EXIT(multiply(), testing::ExitedWithCode(0), "");
}

class SandboxFilesTest : public ::testing::TestWithParam<unsigned> {
  protected:
    void SetUp() override {
        if (GetParam() == Sandbox::kNamespaces && !hasNamespaces()) {
            GTEST_SKIP() << "needs user namespaces";
        }
        if (GetParam() == Sandbox::kFileRules && !hasLandlock()) {
            GTEST_SKIP() << "needs a kernel with Landlock";
        }
        _bundle = _folder.makeFolder("A.bundle");
        _folder.write("A.bundle/picture", "seen");
        _secret = _folder.write("secret", "unseen");
    }

    void expect(const std::string &path, bool isReadable, const std::string &folder) {
        EXPECT_EXIT(readBehind(GetParam(), folder, path),
                    testing::ExitedWithCode(isReadable ? 0 : 1), "")
            << path;
    }

    TemporaryFolder _folder;
    std::string _bundle;
    std::string _secret;
};

TEST_P(SandboxFilesTest, ShowTheBundleAndLibrariesAlone) {
    expect(_bundle + "/picture", true, _bundle);
    expect("/etc/ld.so.cache", true, _bundle);
    expect(_secret, false, _bundle);
    expect("/etc/passwd", false, _bundle);
    expect("/proc/self/mountinfo", false, _bundle);
    expect("/proc/net/dev", false, _bundle);
    expect("/sys/class/net", false, _bundle);
}

TEST_P(SandboxFilesTest, DoNotFollowLinksOutOfTheBundle) {
    std::filesystem::create_symlink(_secret, _bundle + "/link");
    expect(_bundle + "/link", false, _bundle);
}

TEST_P(SandboxFilesTest, DoNotOpenTheFolderThatABundleLinksTo) {
    const std::string link = _folder.pathOf("B.bundle");
    std::filesystem::create_symlink(".", link);
    expect(_secret, false, link);
    expect(link + "/secret", false, link);
}

INSTANTIATE_TEST_SUITE_P(Walls, SandboxFilesTest,
                         ::testing::Values(Sandbox::kNamespaces, Sandbox::kFileRules,
                                           Sandbox::kAllWalls),
                         [](const auto &info) {
                             return info.param == Sandbox::kNamespaces  ? "OfNamespaces"
                                    : info.param == Sandbox::kFileRules ? "OfLandlock"
                                                                        : "Together";
                         });

} // namespace
