#include "Platform/Compositor/ScaledPictures.h"

#include <algorithm>

Picture ScaledPictures::scaled(CGImage &image, const PictureScaler::Axis &x,
                               const PictureScaler::Axis &y, const DeviceRect &area) {
    const auto found = std::find_if(_entries.begin(), _entries.end(), [&](const Entry &entry) {
        return entry.image == &image && entry.x == x && entry.y == y && entry.area == area;
    });
    if (found != _entries.end()) {
        found->used = true;
        return found->picture();
    }
    if (_entries.size() == kMostEntries) {
        makeRoom();
    }
    const Picture whole{image.pixels(), static_cast<int>(image.width()),
                        static_cast<int>(image.height()), image.isOpaque()};
    std::vector<std::uint32_t> pixels = PictureScaler::scaled(whole, x, y, area);
    const bool opaque = std::all_of(pixels.begin(), pixels.end(),
                                    [](std::uint32_t pixel) { return pixel >> 24 == 255; });
    _entries.push_back(
        {Retained<CGImage>(&image), x, y, area, std::move(pixels), opaque, /*used*/ true});
    return _entries.back().picture();
}

// What this frame uses may be being drawn.
void ScaledPictures::makeRoom() {
    const auto unused = std::find_if(_entries.begin(), _entries.end(),
                                     [](const Entry &entry) { return !entry.used; });
    _entries.erase(unused == _entries.end() ? _entries.begin() : unused);
}

void ScaledPictures::endFrame() {
    _entries.remove_if([](Entry &entry) { return !std::exchange(entry.used, false); });
}
