#include "Platform/Compositor/PictureReductions.h"

#include "Platform/Compositor/PictureScaler.h"

namespace {

constexpr unsigned kFramesKept = 400;

int halved(NSUInteger side, int times) {
    return static_cast<int>((side + (NSUInteger{1} << times) - 1) >> times);
}

} // namespace

Picture PictureReductions::reduction(CGImage &image, int halvingsX, int halvingsY) {
    Entry &entry = _entries[Key(&image, halvingsX, halvingsY)];
    entry.lastUsed = _frame;
    if (!entry.image) {
        const Picture whole{image.pixels(), static_cast<int>(image.width()),
                            static_cast<int>(image.height()), image.isOpaque()};
        const int width = halved(image.width(), halvingsX);
        const int height = halved(image.height(), halvingsY);
        entry.pixels = PictureScaler::reduced(whole, width, height);
        entry.picture = {entry.pixels.data(), width, height, whole.opaque};
        entry.image = Retained<CGImage>(&image);
    }
    return entry.picture;
}

void PictureReductions::endFrame() {
    std::erase_if(_entries,
                  [&](const auto &pair) { return _frame - pair.second.lastUsed > kFramesKept; });
    _frame++;
}
