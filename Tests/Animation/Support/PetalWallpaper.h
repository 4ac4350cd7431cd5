#pragma once

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/SakuraProbe.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

/// A petal wallpaper of 320 × 480 points over a bundle with all its pictures, in simulated time.
class PetalWallpaper : public SimulatedTimeTest {
  protected:
    static constexpr CGRect kFrame = CGRectMake(0, 0, 320, 480);

    PetalWallpaper() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(kFrame, 1));
        _bundle.addPictures();
        ImageCache::sharedInstance()->setResBundle(_bundle.open());
        _view = LumiveraView::initWithFrame(kFrame);
    }

    void TearDown() override {
        _view = nullptr;
        SimulatedTimeTest::TearDown();
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    LumiveraView &view() { return *_view; }
    const WallpaperBundle &bundle() const { return _bundle; }

    /// Loads the resources and ends the loop before its first frame; from here on the test makes
    /// the frames itself.
    void load() {
        runForSeconds(0.499999999);
        const auto stopsTheLoop = [this] { _view->stopAnimating(); };
        _view->setSakuraCount(0);
        runForSeconds(0.000000001);
        NSRunLoop::mainRunLoop().performSelector_afterDelay(nullptr, "", stopsTheLoop, 0.01);
        runForSeconds(0.1);
        ASSERT_EQ(_view->operationQueue().operationCount(), 0u);
    }

    /// The layer views, back to front.
    UIView &layerView(NSUInteger index) { return *_view->subviewAtIndex(1 + index); }

    Sakura &petal(NSUInteger layer, NSUInteger index) {
        return static_cast<Sakura &>(*layerView(layer).subviewAtIndex(index));
    }

    /// The petals of all layers, back to front, the oldest of a layer first.
    std::vector<Sakura *> petals() {
        std::vector<Sakura *> all;
        for (NSUInteger i = 0; i + 1 < _view->subviewCount(); ++i) {
            for (NSUInteger j = 0; j < layerView(i).subviewCount(); ++j) {
                all.push_back(&petal(i, j));
            }
        }
        return all;
    }

    std::vector<NSUInteger> petalCounts() {
        std::vector<NSUInteger> counts;
        for (NSUInteger i = 0; i + 1 < _view->subviewCount(); ++i) {
            counts.push_back(layerView(i).subviewCount());
        }
        return counts;
    }

    /// Sets the number of petals to `count`, which takes effect in a frame.
    void makePetals(NSUInteger count) {
        _view->setSakuraCount(count);
        _view->doAnimating();
    }

  private:
    LogRecorder _log;
    WallpaperBundle _bundle;
    Retained<LumiveraView> _view;
};
