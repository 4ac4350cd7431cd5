#pragma once

#include "Tests/Support/SimulatedTime.h"

#include <Lumivera/Wallpaper.h>

/// Runs in simulated time with the pictures of the built bundle.
class GalleryTest : public SimulatedTimeTest {
  protected:
    static constexpr double kFrameSeconds = 0.025;

    GalleryTest() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), 1));
        ImageCache::sharedInstance()->setResBundle(NSBundle::bundleWithPath(
            LUMIVERA_BUILD_DIR "/share/lumivera/wallpapers/Gallery.bundle"));
    }

    void TearDown() override {
        SimulatedTimeTest::TearDown();
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

  private:
    LogRecorder _log;
};
