#include "Host/Displays/SharedBuffers.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

using namespace Lumivera;

namespace {

/// Everything that can fail fails here, where the callers expect it, and not when a picture is
/// drawn.
TEST(SharedBuffersTest, NeedRoomWhenTheyAreMade) {
    if (!kIsMemoryLimited) {
        GTEST_SKIP() << "the sanitizer needs room, too";
    }
    rlimit usual{};
    getrlimit(RLIMIT_AS, &usual);
    const rlimit little{1 << 20, usual.rlim_max};
    setrlimit(RLIMIT_AS, &little);
    std::string problem;
    try {
        const SharedBuffers memory(1000, 1000, 2);
    } catch (const HostError &error) {
        problem = error.what();
    }
    setrlimit(RLIMIT_AS, &usual);
    EXPECT_THAT(problem, testing::HasSubstr("picture memory: cannot be mapped"));
}

} // namespace
