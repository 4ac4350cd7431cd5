#include "LumiveraLiveWallpaper/LumiveraLiveWallpaper.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Compositor/PixelKernels.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>

namespace {

constexpr double kFrame = 0.025;

/// A buffer that, as the compositor is told, holds the previous picture.
class Screen {
  public:
    explicit Screen(const PixelKernels &kernels) : _name(kernels.name), _compositor(kernels) {}

    const char *name() const { return _name; }
    const std::vector<std::uint32_t> &pixels() const { return _pixels; }

    const std::vector<DeviceRect> &show(UIView &view, bool all = false) {
        const CGSize size = view.bounds().size;
        const auto width = static_cast<std::size_t>(size.width);
        const auto height = static_cast<std::size_t>(size.height);
        const bool isNew = _width != width || _pixels.size() != width * height;
        _pixels.resize(width * height);
        _width = width;
        return _compositor.composite(
            *view.layer(), {_pixels.data(), width, height, width, all || isNew ? 0U : 1U}, 1);
    }

  private:
    const char *_name;
    SoftwareCompositor _compositor;
    std::size_t _width = 0;
    std::vector<std::uint32_t> _pixels;
};

/// The wallpaper with all its threads, as a host runs it, and what displays show of it.
class LumiveraPicture : public SimulatedTimeTest {
  protected:
    LumiveraPicture() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), 1));
        _bundle.addPictures();
    }

    void TearDown() override {
        _view = nullptr;
        SimulatedTimeTest::TearDown();
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    // The first petals depend on the time of day, so nearly all are removed and made again.
    void start(NSUInteger petals) {
        const NSAutoreleasePool pool;
        _view = Retained<LumiveraView>(
            static_cast<LumiveraView *>(getDeskTopViewInstance(_bundle.open().get())));
        runForSeconds(0.6);
        std::srand(1);
        _view->setSakuraCount(1);
        runForSeconds(0.1);
        _view->setSakuraCount(petals);
    }

    LumiveraView &view() { return *_view; }

    int below(int limit) { return static_cast<int>(_random() % static_cast<unsigned>(limit)); }
    bool oneIn(int count) { return below(count) == 0; }

    /// Something that may happen to a wallpaper.
    void act() {
        if (oneIn(15)) {
            _view->tapActionAtViewPoint(CGPointMake(below(320), below(480)));
        }
        if (oneIn(60)) {
            _view->setSakuraCount(static_cast<NSUInteger>(1 + below(90)));
        }
        if (oneIn(40)) {
            UIView &layer = *_view->subviewAtIndex(static_cast<NSUInteger>(below(4)));
            layer.setHidden(!layer.isHidden());
        }
        if (oneIn(100)) {
            _view->setFrame(CGRectMake(0, 0, 100 + below(150), 100 + below(200)));
        }
        if (oneIn(100)) {
            _view->isAnimating() ? _view->pauseAnimating() : _view->resumeAnimating();
        }
    }

  private:
    LogRecorder _log;
    WallpaperBundle _bundle;
    Retained<LumiveraView> _view;
    std::mt19937 _random{5};
};

TEST_F(LumiveraPicture, IsTheSameWhereOnlyWhatChangedIsDrawn) {
    start(60);
    std::vector<std::unique_ptr<Screen>> screens;
    for (const PixelKernels *const kernels : PixelKernels::all()) {
        screens.push_back(std::make_unique<Screen>(*kernels));
    }
    Screen whole(PixelKernels::plain());
    int drawnInParts = 0;
    for (int frame = 0; frame < 2000; frame++) {
        act();
        runForSeconds(kFrame);
        whole.show(view(), true);
        for (const auto &screen : screens) {
            const std::vector<DeviceRect> &changed = screen->show(view());
            ASSERT_EQ(screen->pixels(), whole.pixels()) << screen->name() << ", frame " << frame;
            drawnInParts += changed.size() > 1;
        }
    }
    const int pictures = 2000 * static_cast<int>(screens.size());
    EXPECT_GT(drawnInParts, pictures / 10);
    EXPECT_LT(drawnInParts, pictures * 9 / 10);
}

TEST_F(LumiveraPicture, TakesNoMemoryAfterTheFirstSecond) {
    start(120);
    Screen screen(PixelKernels::best());
    const auto runFrames = [&](int count) {
        for (int frame = 0; frame < count; frame++) {
            runForSeconds(kFrame);
            screen.show(view());
        }
    };
    runFrames(40);
    const std::size_t before = AllocationCounter::totalBlocks();
    runFrames(2000);
    EXPECT_EQ(AllocationCounter::totalBlocks() - before, 0U);
}

} // namespace
