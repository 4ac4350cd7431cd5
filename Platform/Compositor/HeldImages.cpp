#include "Platform/Compositor/HeldImages.h"

void HeldImages::follow(const std::vector<DisplayItem> &items) {
    _frame++;
    const CGImage *latest = nullptr;
    for (const DisplayItem &item : items) {
        if (!item.image || item.image == latest) {
            continue;
        }
        latest = item.image;
        Entry &entry = _images[item.image];
        entry.lastUsed = _frame;
        if (!entry.image) {
            entry.image = Retained<CGImage>(item.image);
        }
    }
    std::erase_if(_images, [&](const auto &pair) { return pair.second.lastUsed != _frame; });
}
