#include "Platform/Compositor/SpritePictures.h"

#include "Platform/Compositor/PictureScaler.h"

namespace {

constexpr unsigned kFramesKept = 400;

int halved(int side, int times) {
    return static_cast<int>((std::int64_t{side} + (std::int64_t{1} << times) - 1) >> times);
}

} // namespace

const SpriteTexels &SpritePictures::texels(CGImage &image, int halvingsX, int halvingsY) {
    const Key key(&image, halvingsX, halvingsY);
    if (!_latest || *_latestKey != key) {
        const auto found = _entries.try_emplace(key).first;
        _latestKey = &found->first;
        _latest = &found->second;
        if (!_latest->image) {
            prepare(*_latest, image, halvingsX, halvingsY);
        }
    }
    _latest->lastUsed = _frame;
    return _latest->texels;
}

void SpritePictures::prepare(Entry &entry, CGImage &image, int halvingsX, int halvingsY) {
    Picture picture = Picture::whole(image);
    if (halvingsX > 0 || halvingsY > 0) {
        const int width = halved(picture.width, halvingsX);
        const int height = halved(picture.height, halvingsY);
        entry.reduced = PictureScaler::reduced(picture, width, height);
        picture = {entry.reduced.data(), width, height, picture.opaque};
    }
    entry.texels = SpriteTexels(picture);
    if (!entry.texels.needsPixels()) {
        entry.reduced = {};
    }
    entry.image = Retained<CGImage>(&image);
}

void SpritePictures::endFrame() {
    _latest = nullptr;
    std::erase_if(_entries,
                  [&](const auto &pair) { return _frame - pair.second.lastUsed > kFramesKept; });
    _frame++;
}

void SpritePictures::purge() {
    _latest = nullptr;
    _entries.clear();
}
