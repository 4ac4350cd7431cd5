#include "Host/Playing/WallpaperKeys.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr NSInteger kPetalStep = 10;

} // namespace

std::optional<WallpaperValues> PlayedValues::changeBy(WindowKey key) const {
    WallpaperValues change;
    const bool isMore = key == WindowKey::MorePetals || key == WindowKey::Up;
    switch (key) {
    case WindowKey::MorePetals:
    case WindowKey::FewerPetals:
        if (petals) {
            const auto count = static_cast<NSInteger>(std::min(*petals, kMaxPetals));
            change.petals = static_cast<NSUInteger>(
                std::clamp<NSInteger>(count + (isMore ? kPetalStep : -kPetalStep), 1, kMaxPetals));
        }
        return change;
    case WindowKey::Up:
    case WindowKey::Down:
        change.speed = std::max<NSInteger>(speed + (isMore ? 1 : -1), 0);
        return change;
    default:
        return {};
    }
}

WallpaperValues changeByScrolling(std::optional<CGFloat> offset, CGFloat distance, CGFloat width) {
    WallpaperValues change;
    change.offset = std::clamp(offset.value_or(0) + distance, -width, width);
    return change;
}

} // namespace Lumivera
