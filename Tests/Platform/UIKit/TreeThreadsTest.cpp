#include "Platform/UIKit/UIView.h"

#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <thread>

// Other threads make, change and release views while the main thread runs its loop and draws.

namespace {

/// Reads the whole tree in place, as a compositor does.
double drawnSum(const CALayer &layer) {
    double sum = layer.position().x + layer.transformInPlace().m11 + layer.opacity();
    for (const Retained<CALayer> &sublayer : layer.sublayers()) {
        sum += drawnSum(*sublayer);
    }
    return sum;
}

/// Builds a layer of views as a resource thread does, and then changes and removes some.
void buildAndChange(UIView &root, int count) {
    const auto layer = UIView::initWithFrame(root.bounds());
    root.addSubview(layer.get());
    for (int i = 0; i < count; ++i) {
        const auto view = UIView::initWithFrame({{1.0 * i, 0}, {10, 10}});
        view->layer()->setOpacity(0.5F);
        layer->addSubview(view.get());
        view->setCenter({2.0 * i, 5});
        view->layer()->setTransform(CATransform3DMakeRotation(i, 0, 0, 1));
        if (i % 3 == 0) {
            view->removeFromSuperview();
        }
        if (i % 10 == 0) {
            // At least one frame in between.
            NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                nullptr, [] {}, true);
        }
    }
    root.addSubview(layer.get());
    layer->setFrame({{0, 0}, {50, 50}});
}

/// Draws in every call-out until `threads` threads are done.
void drawUntilDone(UIView &root, int threads, int &done) {
    double sum = 0;
    NSRunLoop &loop = NSRunLoop::mainRunLoop();
    std::function<void()> frame = [&] {
        if (root.layer()->needsComposite()) {
            sum += drawnSum(*root.layer());
            root.layer()->didComposite();
        }
        root.setFrame({{0, 0}, {root.bounds().size.width + 1, 100}});
        if (done < threads) {
            loop.performSelector_afterDelay(nullptr, "frame", frame, 0.0002);
        }
    };
    frame();
    while (done < threads) {
        loop.runNextCall(Clock::kNever);
    }
    runMainLoopUntilIdle();
    EXPECT_NE(sum, 0);
}

} // namespace

TEST(TreeThreads, SeveralThreadsBuildWhileTheMainThreadDraws) {
    constexpr int kThreads = 3;
    constexpr int kViews = 90;
    const auto root = UIView::initWithFrame({{0, 0}, {100, 100}});
    root->setAutoresizingMask(18);
    int done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            buildAndChange(*root, kViews);
            NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                root.get(), [&] { ++done; }, true);
        });
    }
    drawUntilDone(*root, kThreads, done);
    for (std::thread &thread : threads) {
        thread.join();
    }
    ASSERT_EQ(root->subviewCount(), static_cast<NSUInteger>(kThreads));
    for (int i = 0; i < kThreads; ++i) {
        EXPECT_EQ(root->subviewAtIndex(static_cast<NSUInteger>(i))->subviewCount(), 60u);
    }
    EXPECT_EQ(root->retainCount(), 1u);
}

TEST(TreeThreads, TheLastReferencesToViewsGoOnManyThreads) {
    constexpr int kThreads = 3;
    const auto root = UIView::initWithFrame({{0, 0}, {100, 100}});
    int done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 50; ++turn) {
                auto view = UIView::initWithFrame({{0, 0}, {10, 10}});
                view->addSubview(UIView::initWithFrame({{0, 0}, {5, 5}}).get());
                if (turn % 2 == 0) {
                    root->addSubview(view.get());
                    view->removeFromSuperview();
                }
                view = nullptr;
            }
            NSRunLoop::mainRunLoop().performSelectorOnMainThread(
                nullptr, [&] { ++done; }, true);
        });
    }
    drawUntilDone(*root, kThreads, done);
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(root->subviewCount(), 0u);
}
