#include "Host/Playing/WallpaperKeys.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

TEST(WallpaperKeysTest, KeepPetalsAndSpeedWithinTheirLimits) {
    const auto petals = [](NSUInteger count, WindowKey key) {
        return PlayedValues{count, 0}.changeBy(key)->petals;
    };
    EXPECT_EQ(petals(30, WindowKey::MorePetals), 40U);
    EXPECT_EQ(petals(30, WindowKey::FewerPetals), 20U);
    EXPECT_EQ(petals(5, WindowKey::FewerPetals), 1U);
    EXPECT_EQ(petals(kMaxPetals - 5, WindowKey::MorePetals), kMaxPetals);
    EXPECT_EQ(petals(~NSUInteger{0}, WindowKey::MorePetals), kMaxPetals);
    const auto speed = [](NSInteger level, WindowKey key) {
        return PlayedValues{{}, level}.changeBy(key)->speed;
    };
    EXPECT_EQ(speed(0, WindowKey::Down), 0);
    EXPECT_EQ(speed(7, WindowKey::Up), 8);
}

TEST(WallpaperKeysTest, ChangeNothingElse) {
    const PlayedValues values{{}, 7};
    EXPECT_EQ(values.changeBy(WindowKey::MorePetals), WallpaperValues());
    EXPECT_EQ(values.changeBy(WindowKey::Pause), std::nullopt);
}

} // namespace
