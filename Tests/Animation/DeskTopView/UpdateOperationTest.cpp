#include "Animation/DeskTopView/UpdateOperation.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

class Driven final : public NSObject, public UpdateOperationDelegate {
  public:
    bool respondsToSelector(std::string_view selector) const override {
        if (onAsked) {
            onAsked();
        }
        return answers && selector == "runLoop";
    }

    void runLoop() override {
        ++runs;
        if (onRun) {
            onRun();
        }
    }

    bool answers = true;
    int runs = 0;
    std::function<void()> onAsked;
    std::function<void()> onRun;
};

TEST(UpdateOperation, RunsItsDelegatesLoopOnce) {
    const auto delegate = makeRetained<Driven>();
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    EXPECT_EQ(operation->delegate(), delegate.get());
    operation->main();
    EXPECT_EQ(delegate->runs, 1);
    EXPECT_EQ(delegate->retainCount(), 1u);
}

TEST(UpdateOperation, EndsAtOnceWithoutADelegate) {
    const auto operation = makeRetained<UpdateOperation>();
    EXPECT_FALSE(operation->delegate());
    operation->start();
    EXPECT_TRUE(operation->isFinished());
}

TEST(UpdateOperation, EndsAtOnceWhenItsDelegateDoesNotAnswer) {
    const auto delegate = makeRetained<Driven>();
    delegate->answers = false;
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    operation->main();
    EXPECT_EQ(delegate->runs, 0);
    EXPECT_EQ(delegate->retainCount(), 1u);
}

TEST(UpdateOperation, EndsAtOnceWhenItsDelegateWasTakenAway) {
    const auto delegate = makeRetained<Driven>();
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    operation->setDelegate(nullptr);
    operation->main();
    EXPECT_EQ(delegate->runs, 0);
}

TEST(UpdateOperation, EndsAtOnceWhenItsDelegateIsTakenAwayWhileItAnswers) {
    const auto delegate = makeRetained<Driven>();
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    delegate->onAsked = [&operation] { operation->setDelegate(nullptr); };
    operation->main();
    EXPECT_EQ(delegate->runs, 0);
}

TEST(UpdateOperation, RunsTheDelegateThatItHasByThen) {
    const auto asked = makeRetained<Driven>();
    const auto other = makeRetained<Driven>();
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(asked.get());
    asked->onAsked = [&] { operation->setDelegate(other.get()); };
    operation->main();
    EXPECT_EQ(asked->runs, 0);
    EXPECT_EQ(other->runs, 1);
}

TEST(UpdateOperation, KeepsItsDelegateAliveDuringItsLoop) {
    auto delegate = makeRetained<Driven>();
    const Weak<Driven> watch(delegate.get());
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    bool livedOn = false;
    delegate->onRun = [&] {
        delegate = nullptr;
        livedOn = bool(watch.lock());
    };
    operation->main();
    EXPECT_TRUE(livedOn);
    EXPECT_FALSE(watch.lock());
}

TEST(UpdateOperation, DoesNotOwnItsDelegateAndNoticesItsDeath) {
    auto delegate = makeRetained<Driven>();
    const auto operation = makeRetained<UpdateOperation>();
    operation->setDelegate(delegate.get());
    EXPECT_EQ(delegate->retainCount(), 1u);
    delegate = nullptr;
    EXPECT_FALSE(operation->delegate());
    operation->main();
}

} // namespace
