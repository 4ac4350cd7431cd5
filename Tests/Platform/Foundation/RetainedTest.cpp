#include "Platform/Foundation/Retained.h"

#include "Tests/Support/Tracked.h"

#include <gtest/gtest.h>

namespace {

/// A protocol, which is not an NSObject.
class Greeter {
  public:
    virtual int greet() const = 0;

  protected:
    virtual ~Greeter() = default;
};

class Neighbour final : public Tracked, public Greeter {
  public:
    using Tracked::Tracked;
    int greet() const override { return 7; }
};

class RetainedTest : public ::testing::Test {
  protected:
    std::atomic<int> _deaths{0};
};

} // namespace

TEST_F(RetainedTest, IsNullAtFirst) {
    const Retained<Tracked> nothing;
    EXPECT_FALSE(nothing);
    EXPECT_EQ(nothing.get(), nullptr);
    EXPECT_TRUE(nothing == nullptr);
}

TEST_F(RetainedTest, ReleasesItsObjectWhenItGoes) {
    {
        const auto object = makeRetained<Tracked>(_deaths);
        EXPECT_EQ(object->retainCount(), 1u);
    }
    EXPECT_EQ(_deaths, 1);
}

TEST_F(RetainedTest, RetainsAPlainPointer) {
    const auto first = makeRetained<Tracked>(_deaths);
    const Retained<Tracked> second(first.get());
    EXPECT_EQ(first->retainCount(), 2u);
    EXPECT_TRUE(first == second);
    EXPECT_TRUE(first == second.get());
}

TEST_F(RetainedTest, CopiesShareTheObject) {
    auto first = makeRetained<Tracked>(_deaths);
    const Retained<Tracked> second = first;
    EXPECT_EQ(second->retainCount(), 2u);
    first = nullptr;
    EXPECT_EQ(second->retainCount(), 1u);
    EXPECT_EQ(_deaths, 0);
}

TEST_F(RetainedTest, MovesWithoutCounting) {
    auto first = makeRetained<Tracked>(_deaths);
    const Retained<Tracked> second = std::move(first);
    EXPECT_EQ(second->retainCount(), 1u);
    EXPECT_EQ(first.get(), nullptr); // NOLINT(bugprone-use-after-move): null by promise
}

TEST_F(RetainedTest, SurvivesAssignmentToItself) {
    auto object = makeRetained<Tracked>(_deaths);
    Retained<Tracked> &same = object;
    object = same;
    EXPECT_EQ(object->retainCount(), 1u);
    object = std::move(same);
    EXPECT_EQ(object->retainCount(), 1u);
    EXPECT_EQ(_deaths, 0);
}

TEST_F(RetainedTest, HoldsTheNewObjectBeforeItReleasesTheOldOne) {
    Retained<Tracked> field;
    const auto fresh = makeRetained<Tracked>(_deaths);
    Tracked *seen = nullptr;
    field = makeRetained<Tracked>(_deaths, [&](Tracked &) { seen = field.get(); });
    field = fresh;
    EXPECT_EQ(seen, fresh.get());
    EXPECT_EQ(_deaths, 1);
}

TEST_F(RetainedTest, LeaksItsReferenceToTheCaller) {
    auto object = makeRetained<Tracked>(_deaths);
    Tracked *plain = object.leak();
    EXPECT_FALSE(object);
    EXPECT_EQ(plain->retainCount(), 1u);
    const auto again = Retained<Tracked>::adopt(plain);
    EXPECT_EQ(again->retainCount(), 1u);
}

TEST_F(RetainedTest, ConvertsToABaseClass) {
    auto object = makeRetained<Tracked>(_deaths);
    const Retained<NSObject> copied = object;
    EXPECT_EQ(copied->retainCount(), 2u);
    const Retained<NSObject> moved = std::move(object);
    EXPECT_EQ(moved->retainCount(), 2u);
}

TEST_F(RetainedTest, CountsTheObjectBehindAProtocol) {
    auto neighbour = makeRetained<Neighbour>(_deaths);
    Retained<Greeter> greeter(neighbour.get());
    EXPECT_EQ(neighbour->retainCount(), 2u);
    neighbour = nullptr;
    EXPECT_EQ(greeter->greet(), 7);
    greeter = nullptr;
    EXPECT_EQ(_deaths, 1);
}
