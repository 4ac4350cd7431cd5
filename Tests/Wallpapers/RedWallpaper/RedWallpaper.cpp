#include "Lumivera/Wallpaper.h"

namespace {

class RedWallpaper : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;

    void initResource() override {
        setBackgroundColor(UIColor::colorWithRed_green_blue_alpha(1, 0, 0, 1).get());
        startAnimating();
    }
};

} // namespace

LUMIVERA_WALLPAPER(RedWallpaper, "Red", "1");
