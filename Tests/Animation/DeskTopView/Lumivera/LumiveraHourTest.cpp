#include "LumiveraLiveWallpaper/LumiveraLiveWallpaper.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace {

struct MemoryUse {
    std::size_t blocks = AllocationCounter::liveBlocks();
    std::size_t bytes = AllocationCounter::liveBytes();
    friend bool operator==(const MemoryUse &, const MemoryUse &) = default;
};

void PrintTo(const MemoryUse &use, std::ostream *out) {
    *out << use.bytes << " bytes in " << use.blocks << " blocks";
}

/// A wallpaper that is used all the time.
class RestlessHour : public SimulatedTimeTest {
  protected:
    RestlessHour() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), 1));
        _bundle.addPictures();
        _bundle.describe("<key>sakura Count</key><integer>60</integer>");
        const NSAutoreleasePool pool;
        _view = Retained<LumiveraView>(
            static_cast<LumiveraView *>(getDeskTopViewInstance(_bundle.open().get())));
        runForSeconds(0.6);
        std::srand(1);
    }

    void TearDown() override {
        _view = nullptr;
        SimulatedTimeTest::TearDown();
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    /// One minute of use, at its end with the largest and then the smallest number of petals.
    void spendAMinute() {
        for (int second = 0; second < 60; ++second) {
            act();
            runForSeconds(1);
        }
        _view->setSakuraCount(300);
        runForSeconds(0.1);
        _view->setSakuraCount(30);
        runForSeconds(0.1);
    }

    /// The memory in use. Waits a little when it differs from `expected`, because a thread
    /// that ended may not have released its last block yet.
    MemoryUse memoryUse(const MemoryUse &expected) {
        for (int turn = 0; turn < 40 && !(MemoryUse() == expected); ++turn) {
            runForSeconds(0.025);
        }
        return MemoryUse();
    }

    LumiveraView &view() { return *_view; }

  private:
    int below(int limit) { return static_cast<int>(_random() % static_cast<unsigned>(limit)); }

    void act() {
        switch (below(6)) {
        case 0:
        case 1:
            _view->tapActionAtViewPoint(CGPointMake(below(320), below(480)));
            break;
        case 2:
            _view->setSakuraCount(static_cast<NSUInteger>(1 + below(120)));
            break;
        case 3:
            _view->setSpeedLevel(below(4));
            break;
        case 4:
            _view->setOffset(below(200) - 100);
            break;
        case 5:
            _view->pauseAnimating();
            runForSeconds(0.05);
            EXPECT_EQ(_view->operationQueue().operationCount(), 0u);
            _view->resumeAnimating();
            break;
        }
    }

    LogRecorder _log;
    WallpaperBundle _bundle;
    Retained<LumiveraView> _view;
    std::mt19937 _random{7};
};

TEST_F(RestlessHour, EndsWithTheMemoryUseOfItsFirstMinute) {
    spendAMinute();
    const MemoryUse afterFirstMinute;
    for (int minute = 1; minute < 60; ++minute) {
        spendAMinute();
    }
    EXPECT_EQ(memoryUse(afterFirstMinute), afterFirstMinute);
    EXPECT_GE(now() - SimulatedClock::kStart, 3600 * Clock::Nanoseconds{1'000'000'000});
    EXPECT_TRUE(view().isAnimating());
}

TEST_F(RestlessHour, NoticesASingleObjectThatLeaks) {
    spendAMinute();
    const MemoryUse before;
    const auto kept = UIView::initWithFrame(CGRect());
    EXPECT_GT(memoryUse(before).blocks, before.blocks);
}

} // namespace
