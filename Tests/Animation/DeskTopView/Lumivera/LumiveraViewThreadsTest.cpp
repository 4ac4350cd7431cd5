#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

constexpr NSTimeInterval kTurn = 0.0005;
constexpr int kMaxTurns = 100'000;

/// Reads everything in the tree on the main thread, as a compositor does.
CGFloat lookAt(const CALayer &layer) {
    CGFloat sum = layer.frame().size.width + layer.opacity() + layer.transform().m11;
    if (const auto contents = layer.contents()) {
        sum += static_cast<CGFloat>(contents->width());
    }
    for (const Retained<CALayer> &sublayer : layer.sublayers()) {
        sum += lookAt(*sublayer);
    }
    return sum;
}

/// Wallpapers on the system's clock, whose resource thread runs while the main thread is busy.
class LumiveraThreads : public testing::Test {
  protected:
    LumiveraThreads() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), 1));
        _bundle.addPictures();
        ImageCache::sharedInstance()->setResBundle(_bundle.open());
    }

    ~LumiveraThreads() override {
        turnUntil([] { return NSThread::detachedThreadCount() == 0; });
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    /// A view whose resource thread starts now.
    Retained<LumiveraView> beginLoading() {
        auto view = LumiveraView::initWithFrame(CGRectMake(0, 0, 320, 480));
        NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(view.get(),
                                                                         "delayLoading");
        view->delayLoading();
        return view;
    }

    /// Serves the run loop until something has happened, and calls `action` between its turns.
    void turnUntil(const std::function<bool()> &happened,
                   const std::function<void(int)> &action = nullptr) {
        for (int turn = 0; turn < kMaxTurns; ++turn) {
            if (happened()) {
                return;
            }
            if (action) {
                const NSAutoreleasePool pool;
                action(turn);
            }
            NSRunLoop::mainRunLoop().runForSeconds(kTurn);
        }
        FAIL() << "it never happens";
    }

    static bool hasPetals(const LumiveraView &view) {
        return view.subviewCount() == 4 && view.subviewAtIndex(3)->subviewCount() > 0;
    }

  private:
    LogRecorder _log;
    WallpaperBundle _bundle;
};

TEST_F(LumiveraThreads, BuildTheirLayersWhileTheMainThreadDrawsAndChangesTheView) {
    for (int round = 0; round < 20; ++round) {
        const auto view = beginLoading();
        const auto disturb = [&view](int turn) {
            EXPECT_GT(lookAt(*view->layer()), 0.0);
            view->layer()->didComposite();
            view->setFrame(CGRectMake(0, 0, 320 + turn % 7, 480));
            view->setScale(turn % 2 == 0 ? 1.0 : 0.5);
            view->setSpeedLevel(turn % 4);
            view->setOffset(turn);
            view->tapActionAtViewPoint({100, 100});
            view->sakuraCount();
            view->isAnimating();
        };
        turnUntil([&view] { return hasPetals(*view); }, disturb);
        ASSERT_TRUE(hasPetals(*view));
        for (NSUInteger i = 0; i < view->subviewCount(); ++i) {
            ASSERT_EQ(view->subviewAtIndex(i)->frame(), view->bounds());
        }
        view->stopAnimating();
    }
}

TEST_F(LumiveraThreads, MayBeStartedStoppedAndDroppedWhileTheyLoad) {
    for (int round = 0; round < 20; ++round) {
        auto view = beginLoading();
        const Weak<LumiveraView> watch(view.get());
        for (int turn = 0; turn < round % 5; ++turn) {
            view->startAnimating();
            NSRunLoop::mainRunLoop().runForSeconds(kTurn);
            view->stopAnimating();
        }
        view = nullptr;
        turnUntil([&watch] { return !watch.lock(); });
        ASSERT_FALSE(watch.lock());
    }
}

} // namespace
