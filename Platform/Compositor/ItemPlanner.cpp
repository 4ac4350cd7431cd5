#include "Platform/Compositor/ItemPlanner.h"

#include <cmath>
#include <functional>

namespace {

using Item = DisplayItem;

/// Pixels. Moving a picture by less than this changes no pixel.
constexpr double kUnseen = 1.0 / 4096;

/// A picture on at least this part of the screen is likely to stay where it is.
constexpr int kLargePart = 8;

/// The item's map as a map of texels.
Affine texelMap(const Affine &map, int width, int height) {
    return {map.a / width, map.b / width, map.c / height, map.d / height, map.tx, map.ty};
}

bool isNear(double value, double other) { return std::abs(value - other) < kUnseen; }

bool isUpright(const Affine &map) {
    return isNear(map.b, 0) && isNear(map.c, 0) && map.a > 0 && map.d > 0;
}

bool isCopy(const Affine &map, const CGImage &image) {
    return isUpright(map) && isNear(map.a, static_cast<double>(image.width())) &&
           isNear(map.d, static_cast<double>(image.height())) &&
           isNear(map.tx, std::round(map.tx)) && isNear(map.ty, std::round(map.ty));
}

/// How often a side must be halved so that at most two texels fall on a pixel.
int halvings(double texelsPerPixel, int side) {
    int count = 0;
    for (; texelsPerPixel > 2 && side >> count > 1; ++count) {
        texelsPerPixel /= 2;
    }
    return count;
}

template <class Way> ItemPlan planOr(const std::optional<Way> &way) {
    return way ? ItemPlan{*way} : ItemPlan{ItemPlan::Nothing{}};
}

} // namespace

void ItemPlanner::beginFrame(const DisplayList &list, const DeviceRect &device) {
    _list = &list;
    _device = device;
    _plans.clear();
    _plans.reserve(list.items().capacity());
    _plans.resize(list.items().size());
}

const ItemPlan &ItemPlanner::planOf(const Item &item) {
    const Item *const first = _list->items().data();
    const bool isOfList =
        std::greater_equal<>()(&item, first) && std::less<>()(&item, first + _plans.size());
    if (!isOfList) {
        _planOfOther = decide(item);
        return _planOfOther;
    }
    ItemPlan &plan = _plans[static_cast<std::size_t>(&item - first)];
    if (plan.as<ItemPlan::Undecided>()) {
        plan = decide(item);
    }
    return plan;
}

ItemPlan ItemPlanner::decide(const Item &item) {
    switch (item.kind) {
    case Item::Kind::Group:
        break;
    case Item::Kind::Picture:
        return item.isInPerspective() ? planInPerspective(item) : planPicture(item);
    case Item::Kind::Fill:
    case Item::Kind::Mask:
        return item.isInPerspective() ? planOr(ProjectiveQuad::make(item.map, item.depth))
                                      : planOr(DeviceQuad::make(item.map, 1, 1));
    }
    return {ItemPlan::Nothing{}};
}

ItemPlan ItemPlanner::planPicture(const Item &item) {
    if (isCopy(item.map, *item.image)) {
        return {ItemPlan::Copy{static_cast<int>(std::round(item.map.tx)),
                               static_cast<int>(std::round(item.map.ty))}};
    }
    if (isUpright(item.map) && item.bounds.area() * kLargePart >= _device.area()) {
        return {ItemPlan::Scaled{}};
    }
    return planSprite(item);
}

ItemPlan ItemPlanner::planSprite(const Item &item) {
    const auto quadOf = [&](int width, int height) {
        return DeviceQuad::make(texelMap(item.map, width, height), width, height);
    };
    const Picture picture = Picture::whole(*item.image);
    auto quad = quadOf(picture.width, picture.height);
    if (!quad) {
        return {ItemPlan::Nothing{}};
    }
    const int halvingsX = halvings(quad->unitsX(), picture.width);
    const int halvingsY = halvings(quad->unitsY(), picture.height);
    const SpriteTexels &texels = _pictures.texels(*item.image, halvingsX, halvingsY);
    if (halvingsX > 0 || halvingsY > 0) {
        quad = quadOf(texels.width(), texels.height());
    }
    return quad ? ItemPlan{Sprite{&texels, *quad}} : ItemPlan{ItemPlan::Nothing{}};
}

ItemPlan ItemPlanner::planInPerspective(const Item &item) {
    const auto quad = ProjectiveQuad::make(item.map, item.depth);
    if (!quad) {
        return {ItemPlan::Nothing{}};
    }
    const Picture picture = Picture::whole(*item.image);
    const CGSize units = quad->unitsWithin(item.bounds);
    const SpriteTexels &texels =
        _pictures.texels(*item.image, halvings(units.width * picture.width, picture.width),
                         halvings(units.height * picture.height, picture.height));
    return {ItemPlan::PerspectivePicture{&texels, *quad}};
}

Picture ItemPlanner::scaled(const Item &item) {
    const Picture whole = Picture::whole(*item.image);
    const Affine map = texelMap(item.map, whole.width, whole.height);
    return _scaled.scaled(*item.image, {map.tx, map.a}, {map.ty, map.d}, item.bounds);
}

void ItemPlanner::mark(const Item &item, CellMask &mask, CellMask *again) {
    if (item.kind == Item::Kind::Group) {
        for (const Item &member : item.members()) {
            mark(member, mask, again);
        }
        return;
    }
    const ItemPlan &plan = planOf(item);
    if (const auto *const sprite = plan.as<Sprite>()) {
        sprite->findShown(item.bounds.intersection(mask.area()), _shown);
        for (int y = _shown.top(); y < _shown.bottom(); ++y) {
            const PolygonSpans::Span row = _shown.row(y);
            mask.add(y, row.left, row.right, again);
        }
    } else if (!plan.as<ItemPlan::Nothing>()) {
        mask.add(item.bounds, again);
    }
}

void ItemPlanner::endFrame(bool wasPainted) {
    if (wasPainted) {
        _scaled.endFrame();
    }
    _pictures.endFrame();
}

void ItemPlanner::purge() {
    _scaled.purge();
    _pictures.purge();
    _plans = {};
    _device = {};
}
