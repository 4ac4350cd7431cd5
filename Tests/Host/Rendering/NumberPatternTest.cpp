#include "Host/Rendering/PictureSinks.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(NumberPattern, FillsUpWithZeros) {
    EXPECT_EQ(NumberPattern::parse("d/x-%04d.png")->pathFor(7), "d/x-0007.png");
    EXPECT_EQ(NumberPattern::parse("%d")->pathFor(12), "12");
    EXPECT_EQ(NumberPattern::parse("%02d")->pathFor(12345), "12345");
}

TEST(NumberPattern, WantsExactlyOnePlaceInTheFilesName) {
    for (const char *path : {"x", "%", "%s", "%4d", "%0d", "%010d", "%d%d", "%%d", "%d%", "%d/x",
                             "%n", "%-4d", "%04", "%04x"}) {
        EXPECT_FALSE(NumberPattern::parse(path)) << path;
    }
}

} // namespace
