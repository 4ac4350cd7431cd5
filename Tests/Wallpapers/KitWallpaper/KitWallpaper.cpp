#include "Lumivera/Wallpaper.h"

namespace {

/// Made with the modern face of the kit alone. Moves its offset by one point a frame.
class KitWallpaper : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;

    void initResource() override { startAnimating(); }
    void doAnimating() override { setOffset(offset() + 1); }
};

} // namespace

LUMIVERA_WALLPAPER(KitWallpaper, "Kit", "2.5");
