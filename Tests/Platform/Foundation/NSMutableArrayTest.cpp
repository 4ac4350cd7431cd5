#include "Platform/Foundation/NSArray.h"

#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

namespace {

class NSMutableArrayTest : public SimulatedTimeTest {
  protected:
    std::atomic<int> _deaths{0};
    Retained<NSMutableArray<Tracked>> _array = makeRetained<NSMutableArray<Tracked>>();
};

} // namespace

TEST_F(NSMutableArrayTest, GrowsInOrder) {
    const auto first = makeRetained<Tracked>(_deaths);
    const auto second = makeRetained<Tracked>(_deaths);
    EXPECT_EQ(_array->count(), 0u);
    _array->addObject(first);
    _array->addObject(second);
    EXPECT_EQ(_array->count(), 2u);
    EXPECT_EQ(_array->objectAtIndex(0), first.get());
    EXPECT_EQ(_array->objectAtIndex(1), second.get());
}

TEST_F(NSMutableArrayTest, HasNothingBeyondItsEnd) {
    EXPECT_EQ(_array->objectAtIndex(0), nullptr);
    _array->addObject(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_array->objectAtIndex(1), nullptr);
}

TEST_F(NSMutableArrayTest, OwnsItsObjects) {
    _array->addObject(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_deaths, 0);
    _array = nullptr;
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSMutableArrayTest, IsFilledByAnotherThreadWhileTheMainThreadWaits) {
    NSThread::detachNewThread(nullptr, [this] {
        for (int i = 0; i < 3; ++i) {
            _array->addObject(makeRetained<Tracked>(_deaths));
            NSThread::sleepForTimeInterval(1);
        }
    });
    runForSeconds(1.5);
    EXPECT_EQ(_array->count(), 2u);
    runForSeconds(5);
    EXPECT_EQ(_array->count(), 3u);
}
