#include "Platform/Compositor/DisplayList.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

TEST(OverlapClusters, KeepsRectanglesThatOnlyTouchApart) {
    OverlapClusters clusters;
    EXPECT_THAT(clusters.find({{0, 0, 4, 4}, {4, 0, 8, 4}, {0, 4, 4, 8}}), ElementsAre(0, 1, 2));
}

TEST(OverlapClusters, JoinsRectanglesThatHangTogetherThroughOthers) {
    OverlapClusters clusters;
    EXPECT_THAT(clusters.find({{0, 0, 4, 4}, {20, 0, 24, 4}, {6, 0, 10, 4}, {3, 3, 7, 5}}),
                ElementsAre(0, 1, 0, 0));
}

TEST(OverlapClusters, JoinsClustersThatALaterRectangleConnects) {
    OverlapClusters clusters;
    EXPECT_THAT(clusters.find({{0, 9, 4, 14}, {10, 9, 14, 14}, {0, 0, 14, 2}, {2, 1, 12, 10}}),
                ElementsAre(0, 0, 0, 0));
}

TEST(OverlapClusters, StartsAfreshEachTime) {
    OverlapClusters clusters;
    clusters.find({{0, 0, 4, 4}, {2, 2, 6, 6}});
    EXPECT_THAT(clusters.find({{0, 0, 4, 4}}), ElementsAre(0));
    EXPECT_TRUE(clusters.find({}).empty());
}
