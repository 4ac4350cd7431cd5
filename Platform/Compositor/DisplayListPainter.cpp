#include "Platform/Compositor/DisplayListPainter.h"

#include "Platform/Compositor/QuadPainter.h"

#include <cmath>

namespace {

// Moved by less than this, no pixel changes.
constexpr double kUnseen = 1.0 / 4096;

// The item's map as one of texels.
Affine texelMap(const Affine &map, int width, int height) {
    return {map.a / width, map.b / width, map.c / height, map.d / height, map.tx, map.ty};
}

bool isNear(double value, double other) { return std::abs(value - other) < kUnseen; }

bool isUpright(const Affine &map) {
    return isNear(map.b, 0) && isNear(map.c, 0) && map.a > 0 && map.d > 0;
}

// Texels lie on pixels one to one.
bool isCopy(const Affine &map, const CGImage &image) {
    return isUpright(map) && isNear(map.a, static_cast<double>(image.width())) &&
           isNear(map.d, static_cast<double>(image.height())) &&
           isNear(map.tx, std::round(map.tx)) && isNear(map.ty, std::round(map.ty));
}

// How often a side may be halved until at most two texels meet a pixel.
int halvings(double texelsPerPixel, int side) {
    int count = 0;
    for (; texelsPerPixel > 2 && side >> count > 1; count++) {
        texelsPerPixel /= 2;
    }
    return count;
}

} // namespace

void DisplayListPainter::paint(const DisplayList &list, const PixelArea &target) {
    _device = target.area;
    const std::vector<Item> &items = list.items();
    paintMembers(items.data(), items.data() + items.size(), target);
    _scaled.endFrame();
    _pictures.endFrame();
}

void DisplayListPainter::purge() {
    _buffers.purge();
    _scaled.purge();
    _pictures.purge();
}

void DisplayListPainter::paintMembers(const Item *first, const Item *end, const PixelArea &target) {
    for (const Item *item = first; item < end; item += item->length) {
        paintItem(*item, target);
    }
}

void DisplayListPainter::paintItem(const Item &item, const PixelArea &target) {
    switch (item.kind) {
    case Item::Kind::Fill:
        if (const auto quad = DeviceQuad::make(item.map, 1, 1)) {
            QuadPainter::fill(_kernels, target, item.bounds, item.color, *quad, item.weight);
        }
        break;
    case Item::Kind::Picture:
        paintPicture(item, target);
        break;
    case Item::Kind::Group:
    case Item::Kind::Mask:
        paintGroup(item, target);
        break;
    }
}

void DisplayListPainter::paintGroup(const Item &group, const PixelArea &target) {
    const DeviceRect &area = group.bounds;
    const PixelArea buffer = _buffers.take(area);
    paintMembers(&group + 1, &group + group.length, buffer);
    const Picture result{buffer.pixels, area.width(), area.height(), false};
    if (group.kind == Item::Kind::Group) {
        QuadPainter::copyPicture(_kernels, target, area, result, area.left, area.top, group.weight);
    } else if (const auto mask = DeviceQuad::make(group.map, 1, 1)) {
        QuadPainter::copyMasked(_kernels, target, area, result, area.left, area.top, group.weight,
                                *mask);
    }
    _buffers.giveBack();
}

void DisplayListPainter::paintPicture(const Item &item, const PixelArea &target) {
    CGImage &image = *item.image;
    if (isCopy(item.map, image)) {
        QuadPainter::copyPicture(_kernels, target, item.bounds, Picture::whole(image),
                                 static_cast<int>(std::round(item.map.tx)),
                                 static_cast<int>(std::round(item.map.ty)), item.weight);
    } else if (isWorthScaling(item)) {
        const Affine map =
            texelMap(item.map, Picture::whole(image).width, Picture::whole(image).height);
        const Picture scaled = _scaled.scaled(image, {map.tx, map.a}, {map.ty, map.d}, item.bounds);
        QuadPainter::copyPicture(_kernels, target, item.bounds, scaled, item.bounds.left,
                                 item.bounds.top, item.weight);
    } else {
        paintSampled(item, target);
    }
}

void DisplayListPainter::paintSampled(const Item &item, const PixelArea &target) {
    const auto quadOf = [&](int width, int height) {
        return DeviceQuad::make(texelMap(item.map, width, height), width, height);
    };
    const Picture picture = Picture::whole(*item.image);
    auto quad = quadOf(picture.width, picture.height);
    if (!quad) {
        return;
    }
    const int halvingsX = halvings(quad->unitsX(), picture.width);
    const int halvingsY = halvings(quad->unitsY(), picture.height);
    const SpriteTexels &texels = _pictures.texels(*item.image, halvingsX, halvingsY);
    if (halvingsX > 0 || halvingsY > 0) {
        quad = quadOf(texels.width(), texels.height());
    }
    if (quad) {
        _sprites.draw(target, item.bounds, texels, *quad, item.weight);
    }
}

// An eighth of the screen and more is likely to stay where it is.
bool DisplayListPainter::isWorthScaling(const Item &item) const {
    return isUpright(item.map) && item.bounds.area() * 8 >= _device.area();
}
