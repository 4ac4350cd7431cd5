#include "Platform/Foundation/NSArray.h"

#include "Platform/Foundation/Retained.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <string>

TEST(NSArray, KeepsItsItemsInOrder) {
    const auto names = makeRetained<NSArray<std::string>>(std::vector<std::string>{"b", "a", "b"});
    EXPECT_EQ(names->count(), 3u);
    EXPECT_EQ(names->objectAtIndex(0), "b");
    EXPECT_EQ(names->objectAtIndex(1), "a");
    EXPECT_EQ(names->items(), (std::vector<std::string>{"b", "a", "b"}));
}

TEST(NSArray, MayBeEmpty) {
    const auto names = makeRetained<NSArray<std::string>>(std::vector<std::string>());
    EXPECT_EQ(names->count(), 0u);
}

TEST(NSArray, ReleasesItsObjectsWhenItGoes) {
    std::atomic<int> deaths{0};
    auto objects = makeRetained<NSArray<Retained<Tracked>>>(
        std::vector<Retained<Tracked>>{makeRetained<Tracked>(deaths)});
    EXPECT_EQ(deaths, 0);
    objects = nullptr;
    EXPECT_EQ(deaths, 1);
}
