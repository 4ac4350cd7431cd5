#pragma once

#include "Tests/Support/SimulatedTime.h"

#include "Wallpapers/Gallery/Card.h"

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

    /// Whether animations have an effect. One that is kept after its end has none.
    static bool isMoving(const Card &card) {
        for (const CALayer *layer : {card.stage().layer(), card.flower().layer()}) {
            bool isInProgress = false;
            layer->presentationAt(CACurrentMediaTime(), &isInProgress);
            if (isInProgress) {
                return true;
            }
        }
        return false;
    }

  private:
    LogRecorder _log;
};
