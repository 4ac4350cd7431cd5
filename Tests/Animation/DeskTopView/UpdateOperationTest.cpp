#include "Animation/DeskTopView/UpdateOperation.h"

#include <gtest/gtest.h>

namespace {

class Driven final : public NSObject, public UpdateOperationDelegate {
  public:
    bool respondsToSelector(std::string_view selector) const override {
        return answers && selector == "runLoop";
    }

    void runLoop() override {
        ++runs;
        release();
    }

    bool answers = true;
    int runs = 0;
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
