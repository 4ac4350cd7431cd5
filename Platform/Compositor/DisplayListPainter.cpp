#include "Platform/Compositor/DisplayListPainter.h"

#include "Platform/Compositor/PixelArithmetic.h"

namespace {

using PixelArithmetic::kFullWeight;

/// The target is drawn from top to bottom in bands of this size, so that pixels that are drawn over
/// again are still in the processor's cache.
constexpr int kBandBytes = 1 << 22;
constexpr int kMinBandRows = 16;

/// Calls draw() with the quad that a fill or a mask is drawn within.
template <class Draw> void withQuad(const ItemPlan &plan, const Draw &draw) {
    if (const auto *const quad = plan.as<DeviceQuad>()) {
        draw(*quad);
    } else if (const auto *const projective = plan.as<ProjectiveQuad>()) {
        draw(*projective);
    }
}

} // namespace

void DisplayListPainter::paint(const DisplayList &list, const PixelArea &target,
                               const CellMask *mask, std::uint32_t ground) {
    const DeviceRect &device = target.area;
    const bool isHidden = !list.items().empty() && hidesAll(list.items().front());
    const int rows = std::max(kBandBytes / (device.width() * 4), kMinBandRows);
    const auto band = [&](int top) {
        return DeviceRect{device.left, top, device.right, std::min(top + rows, device.bottom)};
    };
    _buffers.setLargest(band(device.top));
    for (int top = device.top; top < device.bottom; top += rows) {
        const PaintClip clip{band(top), mask};
        if (!isHidden) {
            QuadPainter::clear(target, clip, ground);
        }
        paintMembers(list.range(), {target, clip, kFullWeight});
    }
}

/// Whether the item covers the whole device with opaque pixels.
bool DisplayListPainter::hidesAll(const Item &item) {
    const DeviceRect &device = _planner.device();
    if (item.bounds != device || item.weight != kFullWeight) {
        return false;
    }
    const ItemPlan &plan = _planner.planOf(item);
    if (item.kind == Item::Kind::Fill) {
        const auto *const quad = plan.as<DeviceQuad>();
        return item.color.alpha >= 1 && quad && quad->alignedRectWithin(device) == device;
    }
    return (plan.as<ItemPlan::Copy>() && item.image->isOpaque()) ||
           (plan.as<ItemPlan::Scaled>() && _planner.scaled(item).opaque);
}

void DisplayListPainter::paintMembers(ItemRange members, const Surface &surface) {
    for (const Item &item : members) {
        paintItem(item, surface);
    }
}

void DisplayListPainter::paintItem(const Item &item, const Surface &surface) {
    const PaintClip clip = surface.clip.within(item.bounds);
    if (clip.rect.isEmpty()) {
        return;
    }
    const Surface inside{surface.target, clip,
                         PixelArithmetic::product(item.weight, surface.weight)};
    switch (item.kind) {
    case Item::Kind::Fill:
        paintFill(item, inside);
        break;
    case Item::Kind::Picture:
        paintPicture(item, inside);
        break;
    case Item::Kind::Group:
        paintGroup(item, inside);
        break;
    case Item::Kind::Mask:
        paintMask(item, inside);
        break;
    }
}

void DisplayListPainter::paintFill(const Item &item, const Surface &surface) {
    withQuad(_planner.planOf(item), [&](const auto &quad) {
        _quads.fill(surface.target, surface.clip, item.color, surface.weight, quad);
    });
}

void DisplayListPainter::paintPicture(const Item &item, const Surface &surface) {
    const auto &[target, clip, weight] = surface;
    const ItemPlan &plan = _planner.planOf(item);
    if (const auto *const sprite = plan.as<Sprite>()) {
        _sprites.draw(target, clip, *sprite, weight);
    } else if (const auto *const copy = plan.as<ItemPlan::Copy>()) {
        _quads.copy(target, clip, Picture::whole(*item.image), copy->left, copy->top, weight);
    } else if (plan.as<ItemPlan::Scaled>()) {
        _quads.copy(target, clip, _planner.scaled(item), item.bounds.left, item.bounds.top, weight);
    } else if (const auto *const projective = plan.as<ItemPlan::PerspectivePicture>()) {
        _quads.drawPicture(target, clip, *projective->texels, weight, projective->quad);
    }
}

/// Draws the members into a buffer only where several may overlap. Elsewhere each is drawn straight
/// into the target with the group's weight.
void DisplayListPainter::paintGroup(const Item &group, const Surface &surface) {
    const PaintClip &clip = surface.clip;
    GroupBuffers::Buffer &buffer = _buffers.take(clip.rect);
    _planner.mark(group, buffer.shown, &buffer.shared);
    if (clip.mask) {
        buffer.shown.keep(*clip.mask);
        buffer.shared.keep(*clip.mask);
    }
    buffer.shown.remove(buffer.shared);
    paintMembers(group.members(), {surface.target, {clip.rect, &buffer.shown}, surface.weight});
    if (!buffer.shared.isEmpty()) {
        paintShared(group, buffer, surface);
    }
    _buffers.giveBack();
}

void DisplayListPainter::paintShared(const Item &group, GroupBuffers::Buffer &buffer,
                                     const Surface &surface) {
    const DeviceRect &area = surface.clip.rect;
    const Picture picture = paintInto(buffer, buffer.shared, group);
    _quads.copy(surface.target, {area, &buffer.shared}, picture, area.left, area.top,
                surface.weight);
}

void DisplayListPainter::paintMask(const Item &mask, const Surface &surface) {
    const PaintClip &clip = surface.clip;
    GroupBuffers::Buffer &buffer = _buffers.take(clip.rect);
    for (const Item &member : mask.members()) {
        _planner.mark(member, buffer.shown);
    }
    if (clip.mask) {
        buffer.shown.keep(*clip.mask);
    }
    const Picture picture = paintInto(buffer, buffer.shown, mask);
    withQuad(_planner.planOf(mask), [&](const auto &quad) {
        _quads.copyMasked(surface.target, {clip.rect, &buffer.shown}, picture, surface.weight,
                          quad);
    });
    _buffers.giveBack();
}

/// Draws the members over transparent pixels, and returns the buffer's pixels.
Picture DisplayListPainter::paintInto(GroupBuffers::Buffer &buffer, const CellMask &shown,
                                      const Item &group) {
    const PixelArea pixels = buffer.pixels(shown.area());
    const PaintClip clip{pixels.area, &shown};
    QuadPainter::clear(pixels, clip, 0);
    paintMembers(group.members(), {pixels, clip, kFullWeight});
    return {pixels.pixels, pixels.area.width(), pixels.area.height(), false};
}
