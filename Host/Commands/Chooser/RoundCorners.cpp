#include "Host/Commands/Chooser/RoundCorners.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr std::uint32_t kAll = 256;

std::uint32_t byteOf(CGFloat component, int shift) {
    return static_cast<std::uint32_t>(std::lround(component * 255)) << shift;
}

/// Two components at a time.
std::uint32_t mixed(std::uint32_t first, std::uint32_t second, std::uint32_t part) {
    constexpr std::uint32_t kMask = 0x00ff00ff;
    const std::uint32_t outer = (first >> 8 & kMask) * part + (second >> 8 & kMask) * (kAll - part);
    const std::uint32_t inner = (first & kMask) * part + (second & kMask) * (kAll - part);
    return (outer & ~kMask) | (inner >> 8 & kMask);
}

} // namespace

RoundCorners::RoundCorners(double radius, const CGColor &background)
    : _side(static_cast<std::size_t>(std::ceil(std::max(radius, 0.0)))),
      _background(0xff000000 | byteOf(background.red, 16) | byteOf(background.green, 8) |
                  byteOf(background.blue, 0)) {
    for (std::size_t y = 0; y < _side; ++y) {
        for (std::size_t x = 0; x < _side; ++x) {
            const double distance = std::hypot(radius - static_cast<double>(x) - 0.5,
                                               radius - static_cast<double>(y) - 0.5);
            const double kept = std::clamp(radius - distance + 0.5, 0.0, 1.0);
            _kept.push_back(static_cast<std::uint32_t>(std::lround(kept * kAll)));
        }
    }
}

void RoundCorners::cut(std::uint32_t *pixels, std::size_t width, std::size_t height) const {
    if (width < 2 * _side || height < 2 * _side) {
        return;
    }
    for (std::size_t y = 0; y < _side; ++y) {
        std::uint32_t *const top = pixels + y * width;
        std::uint32_t *const bottom = pixels + (height - 1 - y) * width;
        for (std::size_t x = 0; x < _side; ++x) {
            const std::uint32_t kept = _kept[y * _side + x];
            for (std::uint32_t *row : {top, bottom}) {
                row[x] = mixed(row[x], _background, kept);
                row[width - 1 - x] = mixed(row[width - 1 - x], _background, kept);
            }
        }
    }
}

} // namespace Lumivera
