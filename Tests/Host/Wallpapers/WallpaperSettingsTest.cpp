#include "Host/Wallpapers/WallpaperSettings.h"

#include <gtest/gtest.h>

#include <set>

using namespace Lumivera;

namespace {

TEST(WallpaperSettings, SeedsEveryOutputOtherwiseAndAlwaysInTheSameWay) {
    EXPECT_EQ(seedForOutput(7, "DP-1"), seedForOutput(7, "DP-1"));
    EXPECT_NE(seedForOutput(7, "DP-1"), seedForOutput(7, "DP-2"));
    EXPECT_NE(seedForOutput(7, "DP-1"), seedForOutput(8, "DP-1"));
}

TEST(WallpaperSettings, MakesNewSeeds) {
    std::set<unsigned> seeds;
    for (int i = 0; i < 10; ++i) {
        seeds.insert(newSeed());
    }
    EXPECT_GT(seeds.size(), 5U);
}

} // namespace
