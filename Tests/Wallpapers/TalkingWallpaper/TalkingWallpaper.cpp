#include "Lumivera/Wallpaper.h"

#include <cstdio>

namespace {

/// Says something when it loads, and when it is tapped.
class TalkingWallpaper : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;

    void initResource() override {
        NSLog("has loaded");
        std::printf("a printed line\n");
        std::fprintf(stderr, "an error \x1b[2J of its own\n");
        startAnimating();
    }

    void tapActionAtViewPoint(CGPoint point) override {
        std::printf("tapped at %.0f\n", static_cast<double>(point.x));
    }
};

} // namespace

LUMIVERA_WALLPAPER(TalkingWallpaper, "Talking", "1");
