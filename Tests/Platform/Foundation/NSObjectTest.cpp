#include "Platform/Foundation/NSObject.h"

#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(NSObject, StartsWithOneReference) {
    std::atomic<int> deaths{0};
    auto *object = new Tracked(deaths);
    EXPECT_EQ(object->retainCount(), 1u);
    object->release();
    EXPECT_EQ(deaths, 1);
}

TEST(NSObject, LivesUntilEveryReferenceIsReleased) {
    std::atomic<int> deaths{0};
    auto *object = new Tracked(deaths);
    object->retain();
    object->retain();
    EXPECT_EQ(object->retainCount(), 3u);
    object->release();
    object->release();
    EXPECT_EQ(deaths, 0);
    EXPECT_EQ(object->retainCount(), 1u);
    object->release();
    EXPECT_EQ(deaths, 1);
}

TEST(NSObject, DestructorMayRetainAndReleaseItsObject) {
    std::atomic<int> deaths{0};
    auto *object = new Tracked(deaths, [](Tracked &dying) {
        for (int i = 0; i < 3; ++i) {
            dying.retain();
            dying.retain();
            dying.release();
            dying.release();
        }
    });
    object->release();
    EXPECT_EQ(deaths, 1);
}

TEST(NSObject, ReportsNoReferencesWhileItDies) {
    std::atomic<int> deaths{0};
    std::vector<NSUInteger> counts;
    auto *object = new Tracked(deaths, [&](Tracked &dying) {
        counts.push_back(dying.retainCount());
        dying.retain();
        counts.push_back(dying.retainCount());
        dying.release();
        counts.push_back(dying.retainCount());
    });
    object->release();
    EXPECT_EQ(counts, (std::vector<NSUInteger>{0, 0, 0}));
}

TEST(NSObject, CountsReferencesFromManyThreads) {
    std::atomic<int> deaths{0};
    auto *object = new Tracked(deaths);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        object->retain();
        threads.emplace_back([object] {
            for (int turn = 0; turn < 5000; ++turn) {
                object->retain();
                object->release();
            }
            object->release();
        });
    }
    object->release();
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(deaths, 1);
}

namespace {

/// Is destroyed some time after its last release.
class Reprieved final : public NSObject {
  public:
    int destroyCalls = 0;
    void finish() { delete this; }

  private:
    void destroy() noexcept override { ++destroyCalls; }
};

} // namespace

TEST(NSObject, LetsAClassPutItsDestructionOff) {
    auto *object = new Reprieved;
    object->release();
    object->retain();
    object->release();
    EXPECT_EQ(object->destroyCalls, 1);
    object->finish();
}
