#include "Platform/Compositor/LargePictures.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

bool isWhole(double place) { return place == std::round(place); }

bool isCopied(const PictureScaler::Axis &axis) { return axis.size == 1 && isWhole(axis.origin); }

ColumnPicture copied(const Picture &picture, int left, int top, const DeviceRect &area) {
    ColumnPicture result(area);
    for (int y = area.top; y < area.bottom; y++) {
        result.setRow(y, picture.at(area.left - left, y - top));
    }
    return result;
}

} // namespace

const ColumnPicture *LargePictures::prepared(CGImage &image, const PictureScaler::Axis &x,
                                             const PictureScaler::Axis &y, const DeviceRect &area,
                                             bool isDrawnWhole) {
    Entry &entry = entryOf(image, x, y, area);
    entry.isUsed = true;
    const bool isCopy = isCopied(x) && isCopied(y);
    if (isCopy && (isDrawnWhole || entry.isNew)) {
        return nullptr;
    }
    if (!entry.picture) {
        const Picture whole = Picture::whole(image);
        entry.picture =
            isCopy ? copied(whole, static_cast<int>(x.origin), static_cast<int>(y.origin), area)
                   : PictureScaler::scaled(whole, x, y, area);
    }
    return &*entry.picture;
}

LargePictures::Entry &LargePictures::entryOf(CGImage &image, const PictureScaler::Axis &x,
                                             const PictureScaler::Axis &y, const DeviceRect &area) {
    const auto found = std::find_if(_entries.begin(), _entries.end(), [&](const Entry &entry) {
        return entry.image == &image && entry.x == x && entry.y == y && entry.area == area;
    });
    if (found != _entries.end()) {
        return *found;
    }
    if (_entries.size() == kMostEntries) {
        makeRoom();
    }
    _entries.push_back({Retained<CGImage>(&image), x, y, area, std::nullopt});
    return _entries.back();
}

// What this frame uses may be being drawn.
void LargePictures::makeRoom() {
    const auto unused = std::find_if(_entries.begin(), _entries.end(),
                                     [](const Entry &entry) { return !entry.isUsed; });
    _entries.erase(unused == _entries.end() ? _entries.begin() : unused);
}

void LargePictures::endFrame() {
    _entries.remove_if([](Entry &entry) {
        entry.isNew = false;
        return !std::exchange(entry.isUsed, false);
    });
}
