#include "Host/Wallpapers/WallpaperSettings.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"

namespace Lumivera {

void WallpaperSettings::applyTo(DeskTopView &view) const {
    view.setScale(scale);
    view.setFrame({{0, 0}, size});
    view.setOffset(offset);
    auto *petals = dynamic_cast<LumiveraView *>(&view);
    if (petals && petalCount) {
        petals->setSakuraCount(*petalCount);
    }
    if (speedLevel) {
        view.setSpeedLevel(*speedLevel);
    }
}

void WallpaperSettings::applyToLoaded(DeskTopView &view) const {
    auto *petals = dynamic_cast<LumiveraView *>(&view);
    if (!petals) {
        return;
    }
    if (scaleLevel) {
        petals->setSakuraScaleLevel(static_cast<std::int32_t>(*scaleLevel));
    }
    if (tint) {
        const auto color =
            UIColor::colorWithRed_green_blue_alpha(tint->red, tint->green, tint->blue, tint->alpha);
        petals->setBgColor(color.get());
    }
}

} // namespace Lumivera
