#include "Platform/Compositor/HeldImages.h"

#include <utility>

void HeldImages::follow(const std::vector<DisplayItem> &items) {
    std::swap(_images, _before);
    _images.reserve(items.capacity());
    const CGImage *latest = nullptr;
    for (const DisplayItem &item : items) {
        if (item.image && item.image != latest) {
            latest = item.image;
            _images.emplace_back(item.image);
        }
    }
    _before.clear();
}
