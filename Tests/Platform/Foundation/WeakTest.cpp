#include "Platform/Foundation/Weak.h"

#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

namespace {

class Speaker {
  public:
    virtual int speak() const = 0;

  protected:
    virtual ~Speaker() = default;
};

class Person final : public Tracked, public Speaker {
  public:
    using Tracked::Tracked;
    int speak() const override { return 3; }
};

class WeakTest : public ::testing::Test {
  protected:
    std::atomic<int> _deaths{0};
};

} // namespace

TEST_F(WeakTest, IsNullAtFirst) {
    EXPECT_FALSE(Weak<Tracked>().lock());
    EXPECT_FALSE(Weak<Tracked>(nullptr).lock());
}

TEST_F(WeakTest, GivesTheObjectWithoutOwningIt) {
    auto object = makeRetained<Tracked>(_deaths);
    const Weak<Tracked> weak(object.get());
    EXPECT_EQ(object->retainCount(), 1u);
    EXPECT_EQ(weak.lock(), object);
    EXPECT_EQ(object->retainCount(), 1u);
    object = nullptr;
    EXPECT_EQ(_deaths, 1);
}

TEST_F(WeakTest, KeepsTheObjectAliveWhileItIsLocked) {
    auto object = makeRetained<Tracked>(_deaths);
    const Weak<Tracked> weak(object.get());
    auto locked = weak.lock();
    object = nullptr;
    EXPECT_EQ(_deaths, 0);
    locked = nullptr;
    EXPECT_EQ(_deaths, 1);
    EXPECT_FALSE(weak.lock());
}

TEST_F(WeakTest, IsNullWhileItsObjectDies) {
    Weak<Tracked> weak;
    bool wasNull = false;
    auto object = makeRetained<Tracked>(_deaths, [&](Tracked &) { wasNull = !weak.lock(); });
    weak = Weak<Tracked>(object.get());
    object = nullptr;
    EXPECT_TRUE(wasNull);
}

TEST_F(WeakTest, MadeInADestructorIsNullAtOnceAndAfterwards) {
    Weak<Tracked> weak;
    bool wasNull = false;
    auto object = makeRetained<Tracked>(_deaths, [&](Tracked &dying) {
        weak = Weak<Tracked>(&dying);
        wasNull = !weak.lock();
    });
    object = nullptr;
    EXPECT_TRUE(wasNull);
    EXPECT_FALSE(weak.lock());
}

TEST_F(WeakTest, CopiesAndMovesFollowTheSameObject) {
    auto object = makeRetained<Tracked>(_deaths);
    Weak<Tracked> first(object.get());
    const Weak<Tracked> copy = first;
    const Weak<Tracked> moved = std::move(first);
    EXPECT_EQ(copy.lock(), object);
    EXPECT_EQ(moved.lock(), object);
    EXPECT_FALSE(first.lock()); // NOLINT(bugprone-use-after-move): null by promise
    object = nullptr;
    EXPECT_FALSE(copy.lock());
    EXPECT_FALSE(moved.lock());
}

TEST_F(WeakTest, FollowsTheObjectBehindAProtocol) {
    auto person = makeRetained<Person>(_deaths);
    const Weak<Speaker> weak(person.get());
    {
        const Retained<Speaker> speaker = weak.lock();
        ASSERT_TRUE(speaker);
        EXPECT_EQ(speaker->speak(), 3);
    }
    person = nullptr;
    EXPECT_FALSE(weak.lock());
}

TEST_F(WeakTest, IsLockedOnOneThreadWhileTheLastReferenceGoesOnAnother) {
    constexpr int kTurns = 2000;
    Retained<Tracked> object;
    Weak<Tracked> weak;
    std::barrier turn(2);
    int locked = 0;
    std::thread locker([&] {
        for (int i = 0; i < kTurns; ++i) {
            turn.arrive_and_wait();
            if (const Retained<Tracked> strong = weak.lock()) {
                locked += strong->retainCount() > 0 ? 1 : 0;
            }
            turn.arrive_and_wait();
        }
    });
    int deathsTooMany = 0;
    for (int i = 0; i < kTurns; ++i) {
        object = makeRetained<Tracked>(_deaths);
        weak = Weak<Tracked>(object.get());
        turn.arrive_and_wait();
        object = nullptr;
        turn.arrive_and_wait();
        deathsTooMany += _deaths - (i + 1);
        deathsTooMany += weak.lock() ? 1 : 0;
    }
    locker.join();
    EXPECT_EQ(_deaths, kTurns);
    EXPECT_EQ(deathsTooMany, 0);
    EXPECT_LE(locked, kTurns);
}

TEST_F(WeakTest, IsMadeOnTwoThreadsAtOnce) {
    constexpr int kTurns = 1000;
    Retained<Tracked> object;
    Weak<Tracked> other;
    std::barrier turn(2);
    std::thread maker([&] {
        for (int i = 0; i < kTurns; ++i) {
            turn.arrive_and_wait();
            other = Weak<Tracked>(object.get());
            turn.arrive_and_wait();
        }
    });
    int wrong = 0;
    for (int i = 0; i < kTurns; ++i) {
        object = makeRetained<Tracked>(_deaths);
        turn.arrive_and_wait();
        const Weak<Tracked> own(object.get());
        turn.arrive_and_wait();
        wrong += own.lock() == object && other.lock() == object ? 0 : 1;
        object = nullptr;
        wrong += own.lock() || other.lock() ? 1 : 0;
    }
    maker.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(_deaths, kTurns);
}
