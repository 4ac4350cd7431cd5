#include "Platform/Foundation/NSAutoreleasePool.h"

#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

class NSAutoreleasePoolTest : public ::testing::Test {
  protected:
    std::atomic<int> _deaths{0};
};

} // namespace

TEST_F(NSAutoreleasePoolTest, HoldsAnObjectUntilItGoes) {
    {
        const NSAutoreleasePool pool;
        const Tracked *object = autorelease(makeRetained<Tracked>(_deaths));
        EXPECT_EQ(object->retainCount(), 1u);
        EXPECT_EQ(_deaths, 0);
    }
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSAutoreleasePoolTest, LeavesAnObjectToWhoeverRetainedIt) {
    Retained<Tracked> kept;
    {
        const NSAutoreleasePool pool;
        kept = Retained<Tracked>(autorelease(makeRetained<Tracked>(_deaths)));
    }
    EXPECT_EQ(_deaths, 0);
    EXPECT_EQ(kept->retainCount(), 1u);
}

TEST_F(NSAutoreleasePoolTest, PassesNullThrough) {
    const NSAutoreleasePool pool;
    EXPECT_EQ(autorelease(Retained<Tracked>()), nullptr);
}

TEST_F(NSAutoreleasePoolTest, InnermostPoolTakesTheObject) {
    const NSAutoreleasePool outer;
    autorelease(makeRetained<Tracked>(_deaths));
    {
        const NSAutoreleasePool inner;
        autorelease(makeRetained<Tracked>(_deaths));
        autorelease(makeRetained<Tracked>(_deaths));
    }
    EXPECT_EQ(_deaths, 2);
    autorelease(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_deaths, 2);
}

TEST_F(NSAutoreleasePoolTest, ReleasesAnObjectAsOftenAsItWasAutoreleased) {
    const auto object = makeRetained<Tracked>(_deaths);
    {
        const NSAutoreleasePool pool;
        autorelease(object);
        autorelease(object);
        EXPECT_EQ(object->retainCount(), 3u);
    }
    EXPECT_EQ(object->retainCount(), 1u);
}

TEST_F(NSAutoreleasePoolTest, StaysUsableAfterADrain) {
    NSAutoreleasePool pool;
    autorelease(makeRetained<Tracked>(_deaths));
    pool.drain();
    EXPECT_EQ(_deaths, 1);
    autorelease(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_deaths, 1);
    pool.drain();
    EXPECT_EQ(_deaths, 2);
}

TEST_F(NSAutoreleasePoolTest, DrainsWhatDyingObjectsAutorelease) {
    {
        const NSAutoreleasePool pool;
        autorelease(makeRetained<Tracked>(_deaths, [this](Tracked &) {
            autorelease(makeRetained<Tracked>(
                _deaths, [this](Tracked &) { autorelease(makeRetained<Tracked>(_deaths)); }));
        }));
    }
    EXPECT_EQ(_deaths, 3);
}

TEST_F(NSAutoreleasePoolTest, NextOutermostPoolTakesOverStrays) {
    autorelease(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_deaths, 0);
    {
        const NSAutoreleasePool pool;
        EXPECT_EQ(_deaths, 0);
    }
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSAutoreleasePoolTest, BelongsToItsThreadAlone) {
    const NSAutoreleasePool pool;
    std::thread([this] {
        {
            const NSAutoreleasePool own;
            autorelease(makeRetained<Tracked>(_deaths));
        }
        EXPECT_EQ(_deaths, 1);
    }).join();
    autorelease(makeRetained<Tracked>(_deaths));
    EXPECT_EQ(_deaths, 1);
}

TEST_F(NSAutoreleasePoolTest, EndOfAThreadReleasesItsStraysAndWhatTheyLeave) {
    std::thread([this] {
        autorelease(makeRetained<Tracked>(
            _deaths, [this](Tracked &) { autorelease(makeRetained<Tracked>(_deaths)); }));
        EXPECT_EQ(_deaths, 0);
    }).join();
    EXPECT_EQ(_deaths, 2);
}
