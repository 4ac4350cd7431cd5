#include "Host/Displays/RemainingArea.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(RemainingArea, IsWhatLiesAroundAHole) {
    RemainingArea area({0, 0, 10, 10});
    area.remove({2, 3, 5, 7});
    EXPECT_EQ(area.area(), 100 - 12);
}

TEST(RemainingArea, LosesAPixelOnlyOnce) {
    RemainingArea area({0, 0, 10, 10});
    area.remove({0, 0, 6, 10});
    area.remove({4, 0, 8, 10});
    EXPECT_EQ(area.area(), 20);
}

TEST(RemainingArea, IsEmptyWhenManyHaveCoveredItTogether) {
    RemainingArea area({-5, -5, 5, 5});
    for (int x = -5; x < 5; ++x) {
        EXPECT_FALSE(area.isEmpty());
        area.remove({x, -9, x + 1, 9});
    }
    EXPECT_TRUE(area.isEmpty());
}

TEST(RemainingArea, LosesNothingToWhatLiesBesideOrIsEmpty) {
    RemainingArea area({0, 0, 10, 10});
    area.remove({10, 0, 20, 10});
    area.remove({5, 5, 5, 8});
    area.remove({8, 8, 2, 2});
    EXPECT_EQ(area.area(), 100);
}

TEST(RemainingArea, EndsItsWorkOnCountlessPieces) {
    RemainingArea area({0, 0, 1000, 1000});
    for (int i = 0; i < 200'000; ++i) {
        const int x = i * 7 % 999;
        const int y = i * 13 % 997;
        area.remove({x, y, x + 1, y + 1});
    }
    EXPECT_FALSE(area.isEmpty());
}

} // namespace
