#include "Platform/Foundation/NSOperation.h"

#include "Platform/Foundation/Retained.h"

#include <gtest/gtest.h>

namespace {

class Counted final : public NSOperation {
  public:
    void main() override {
        ++runs;
        wasFinished = isFinished();
    }

    int runs = 0;
    bool wasFinished = true;
};

} // namespace

TEST(NSOperation, RunsItsMainWhenItIsStarted) {
    const auto operation = makeRetained<Counted>();
    EXPECT_FALSE(operation->isFinished());
    operation->start();
    EXPECT_EQ(operation->runs, 1);
    EXPECT_FALSE(operation->wasFinished);
    EXPECT_TRUE(operation->isFinished());
    EXPECT_FALSE(operation->isCancelled());
}

TEST(NSOperation, DoesNotRunWhenItWasCancelledBefore) {
    const auto operation = makeRetained<Counted>();
    operation->cancel();
    EXPECT_TRUE(operation->isCancelled());
    operation->start();
    EXPECT_EQ(operation->runs, 0);
    EXPECT_TRUE(operation->isFinished());
}

TEST(NSOperation, DoesNothingByItself) {
    const auto operation = makeRetained<NSOperation>();
    operation->start();
    EXPECT_TRUE(operation->isFinished());
}
