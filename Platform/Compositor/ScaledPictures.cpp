#include "Platform/Compositor/ScaledPictures.h"

#include <algorithm>

const ColumnPicture &ScaledPictures::scaled(CGImage &image, const PictureScaler::Axis &x,
                                            const PictureScaler::Axis &y, const DeviceRect &area) {
    const auto found = std::find_if(_entries.begin(), _entries.end(), [&](const Entry &entry) {
        return entry.image == &image && entry.x == x && entry.y == y && entry.area == area;
    });
    if (found != _entries.end()) {
        found->used = true;
        return found->picture;
    }
    if (_entries.size() == kMostEntries) {
        makeRoom();
    }
    _entries.push_back({Retained<CGImage>(&image), x, y, area,
                        PictureScaler::scaled(Picture::whole(image), x, y, area), /*used*/ true});
    return _entries.back().picture;
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
