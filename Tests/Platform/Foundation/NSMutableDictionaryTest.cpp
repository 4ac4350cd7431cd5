#include "Platform/Foundation/NSDictionary.h"

#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

namespace {

class NSMutableDictionaryTest : public SimulatedTimeTest {
  protected:
    using Dictionary = NSMutableDictionary<Tracked>;

    std::atomic<int> _deaths{0};
    Retained<Dictionary> _dictionary = makeRetained<Dictionary>(NSUInteger{8});
};

} // namespace

TEST_F(NSMutableDictionaryTest, FindsAnObjectByItsKey) {
    const auto object = makeRetained<Tracked>(_deaths);
    _dictionary->setObject_forKey(object, "a");
    EXPECT_EQ(_dictionary->objectForKey("a"), object);
    EXPECT_FALSE(_dictionary->objectForKey("b"));
    EXPECT_EQ(_dictionary->count(), 1u);
}

TEST_F(NSMutableDictionaryTest, ReplacesAnObjectAndReleasesTheOldOne) {
    _dictionary->setObject_forKey(makeRetained<Tracked>(_deaths), "a");
    const auto fresh = makeRetained<Tracked>(_deaths);
    _dictionary->setObject_forKey(fresh, "a");
    EXPECT_EQ(_deaths, 1);
    EXPECT_EQ(_dictionary->objectForKey("a"), fresh);
    EXPECT_EQ(_dictionary->count(), 1u);
}

TEST_F(NSMutableDictionaryTest, ADyingObjectMayUseTheDictionary) {
    NSUInteger countAtDeath = 99;
    _dictionary->setObject_forKey(
        makeRetained<Tracked>(_deaths, [&](Tracked &) { countAtDeath = _dictionary->count(); }),
        "a");
    _dictionary->removeAllObjects();
    EXPECT_EQ(countAtDeath, 0u);
}

TEST_F(NSMutableDictionaryTest, EmptiesItself) {
    _dictionary->setObject_forKey(makeRetained<Tracked>(_deaths), "a");
    _dictionary->setObject_forKey(makeRetained<Tracked>(_deaths), "b");
    _dictionary->removeAllObjects();
    EXPECT_EQ(_deaths, 2);
    EXPECT_EQ(_dictionary->count(), 0u);
    EXPECT_FALSE(_dictionary->objectForKey("a"));
}

TEST_F(NSMutableDictionaryTest, IsFilledByAnotherThreadWhileTheMainThreadWaits) {
    NSThread::detachNewThread(
        nullptr, [this] { _dictionary->setObject_forKey(makeRetained<Tracked>(_deaths), "a"); });
    EXPECT_FALSE(_dictionary->objectForKey("a"));
    runForSeconds(1);
    EXPECT_TRUE(_dictionary->objectForKey("a"));
}
