#include "Platform/Compositor/DisplayList.h"

#include <cmath>

namespace {

constexpr std::uint32_t kFullWeight = 65536;

std::uint32_t weightOf(float opacity) {
    return static_cast<std::uint32_t>(std::min(opacity, 1.0F) * float{kFullWeight} + 0.5F);
}

CGRect centred(const CGRect &bounds, CGFloat width, CGFloat height) {
    return CGRectMake(CGRectGetMidX(bounds) - width / 2, CGRectGetMidY(bounds) - height / 2, width,
                      height);
}

// Where the contents lie in the layer.
CGRect contentsRect(const CALayer &layer, const CGImage &image) {
    const CGRect bounds = layer.bounds();
    const auto width = static_cast<CGFloat>(image.width());
    const auto height = static_cast<CGFloat>(image.height());
    const CGFloat across = bounds.size.width / width;
    const CGFloat down = bounds.size.height / height;
    CGFloat scale = 0;
    switch (layer.contentsGravity()) {
    case CALayerGravity::Resize:
        return bounds;
    case CALayerGravity::ResizeAspect:
        scale = std::min(across, down);
        break;
    case CALayerGravity::ResizeAspectFill:
        scale = std::max(across, down);
        break;
    case CALayerGravity::Center:
        return centred(bounds, width / layer.contentsScale(), height / layer.contentsScale());
    }
    return centred(bounds, width * scale, height * scale);
}

bool coversWholly(const DeviceQuad &quad, const DeviceRect &rect) {
    const Affine &map = quad.fromDevice();
    const auto covered = [&](int x, int y) {
        const double u = map.a * (x + 0.5) + map.c * (y + 0.5) + map.tx;
        const double v = map.b * (x + 0.5) + map.d * (y + 0.5) + map.ty;
        return quad.coverage(u, v) * kFullWeight > kFullWeight - 0.5;
    };
    return covered(rect.left, rect.top) && covered(rect.right - 1, rect.top) &&
           covered(rect.left, rect.bottom - 1) && covered(rect.right - 1, rect.bottom - 1);
}

} // namespace

void DisplayList::build(const CALayer &root, const DeviceRect &device, double scale) {
    _items.clear();
    addLayer(root, Projection(root, scale), device);
}

void DisplayList::addLayer(const CALayer &layer, const Projection &projection,
                           const DeviceRect &clip) {
    const std::uint32_t weight = layer.opacity() > 0 ? weightOf(layer.opacity()) : 0;
    if (layer.isHidden() || weight == 0) {
        return;
    }
    if (weight == kFullWeight) {
        addOpaqueLayer(layer, projection, clip);
        return;
    }
    const std::size_t group = beginGroup({.kind = DisplayItem::Kind::Group, .weight = weight});
    addOpaqueLayer(layer, projection, clip);
    endGroup(group);
}

void DisplayList::addOpaqueLayer(const CALayer &layer, const Projection &projection,
                                 const DeviceRect &clip) {
    const CGRect bounds = layer.bounds();
    const auto map = projection.affineNear({CGRectGetMidX(bounds), CGRectGetMidY(bounds)});
    if (!map) {
        return;
    }
    const CGColor color = layer.backgroundColor();
    if (color.alpha > 0) {
        addRect(*map, bounds, clip, {.kind = DisplayItem::Kind::Fill, .color = color});
    }
    if (layer.masksToBounds()) {
        addMasked(layer, projection, *map, clip);
    } else {
        addInside(layer, projection, *map, clip);
    }
}

void DisplayList::addInside(const CALayer &layer, const Projection &projection, const Affine &map,
                            const DeviceRect &clip) {
    if (layer.contentsInPlace()) {
        addContents(layer, map, clip);
    }
    for (const Retained<CALayer> &sublayer : layer.sublayers()) {
        addLayer(*sublayer, Projection(*sublayer, layer, projection), clip);
    }
}

// A mask whose edges lie on pixel boundaries is a smaller clip; others take a buffer.
void DisplayList::addMasked(const CALayer &layer, const Projection &projection, const Affine &map,
                            const DeviceRect &clip) {
    const CGRect bounds = layer.bounds();
    const Affine placed =
        map.fromRect(bounds.origin.x, bounds.origin.y, bounds.size.width, bounds.size.height);
    const auto quad = DeviceQuad::make(placed, 1, 1);
    if (!quad) {
        return;
    }
    if (const auto aligned = quad->alignedRectWithin(clip)) {
        addInside(layer, projection, map, clip.intersection(*aligned));
        return;
    }
    const std::size_t group = beginGroup({.kind = DisplayItem::Kind::Mask, .map = placed});
    addInside(layer, projection, map, quad->boundsWithin(clip));
    endGroup(group);
}

void DisplayList::addRect(const Affine &map, const CGRect &rect, const DeviceRect &clip,
                          DisplayItem item) {
    item.map = map.fromRect(rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    if (const auto quad = DeviceQuad::make(item.map, 1, 1); quad && !clip.isEmpty()) {
        item.bounds = quad->boundsWithin(clip);
        if (!item.bounds.isEmpty()) {
            _items.push_back(item);
        }
    }
}

void DisplayList::addContents(const CALayer &layer, const Affine &map, const DeviceRect &clip) {
    CGImage *const image = layer.contentsInPlace();
    addRect(map, contentsRect(layer, *image), clip,
            {.kind = DisplayItem::Kind::Picture, .image = image});
}

std::size_t DisplayList::beginGroup(DisplayItem group) {
    _items.push_back(group);
    return _items.size() - 1;
}

// Now that the members are known: no group is needed around nothing, around what is drawn as one
// anyway, or where it changes nothing.
void DisplayList::endGroup(std::size_t index) {
    const std::size_t first = index + 1;
    const std::size_t end = _items.size();
    DeviceRect bounds;
    for (std::size_t i = first; i < end; i += _items[i].length) {
        bounds = bounds.united(_items[i].bounds);
    }
    DisplayItem &group = _items[index];
    group.bounds = bounds;
    group.length = end - index;
    bool needed = !bounds.isEmpty();
    if (needed && group.kind == DisplayItem::Kind::Mask) {
        needed = !coversWholly(*DeviceQuad::make(group.map, 1, 1), bounds);
    } else if (needed && _items[first].length == end - first) {
        _items[first].weight = static_cast<std::uint32_t>(
            (std::uint64_t{_items[first].weight} * group.weight + kFullWeight / 2) / kFullWeight);
        needed = false;
    }
    if (!needed) {
        _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
    }
}
