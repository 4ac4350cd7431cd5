#include "Platform/Compositor/DisplayList.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

using PixelArithmetic::kFullWeight;

/// A layer takes at most a group, a mask, a colour and contents, also after its group was split.
constexpr std::size_t kMaxItemsPerLayer = 4;

std::uint32_t weightOf(float opacity) {
    return static_cast<std::uint32_t>(std::min(opacity, 1.0F) * float{kFullWeight} + 0.5F);
}

CGRect centred(const CGRect &bounds, CGFloat width, CGFloat height) {
    return CGRectMake(CGRectGetMidX(bounds) - width / 2, CGRectGetMidY(bounds) - height / 2, width,
                      height);
}

/// The rectangle of the layer that the contents fill.
CGRect contentsRect(const PresentedLayer &presented, const CGImage &image) {
    const CALayer &layer = presented.layer();
    const CGRect bounds = presented.bounds();
    const auto width = static_cast<CGFloat>(image.width());
    const auto height = static_cast<CGFloat>(image.height());
    const CGFloat across = bounds.size.width / width;
    const CGFloat down = bounds.size.height / height;
    CGFloat scale = 0;
    switch (layer.contentsGravity()) {
    case ContentsGravity::Resize:
        return bounds;
    case ContentsGravity::ResizeAspect:
        scale = std::min(across, down);
        break;
    case ContentsGravity::ResizeAspectFill:
        scale = std::max(across, down);
        break;
    case ContentsGravity::Center:
        return centred(bounds, width / layer.contentsScale(), height / layer.contentsScale());
    }
    return centred(bounds, width * scale, height * scale);
}

/// Whether the mask cuts nothing off its members.
bool isWhole(const DisplayItem &mask) {
    const auto covers = [&](const auto &quad) { return !quad || quad->coversWholly(mask.bounds); };
    return mask.isInPerspective() ? covers(ProjectiveQuad::make(mask.map, mask.depth))
                                  : covers(DeviceQuad::make(mask.map, 1, 1));
}

/// Gives the item the place of the rectangle, and returns the pixels of the clip that it may touch.
DeviceRect place(DisplayItem &item, const Projection &projection, const CGRect &rect,
                 const DeviceRect &clip) {
    if (clip.isEmpty()) {
        return {};
    }
    if (!projection.isAffine()) {
        const Projection unit = projection.fromRect(rect);
        item.map = unit.map();
        item.depth = unit.depth();
        const auto quad = ProjectiveQuad::make(item.map, item.depth);
        return quad ? quad->boundsWithin(clip) : DeviceRect();
    }
    const auto map = projection.affine();
    if (!map) {
        return {};
    }
    item.map = map->fromRect(rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    const auto quad = DeviceQuad::make(item.map, 1, 1);
    return quad ? quad->boundsWithin(clip) : DeviceRect();
}

} // namespace

const std::vector<std::size_t> &OverlapClusters::find(const std::vector<DeviceRect> &rects) {
    _leaders.reserve(rects.capacity());
    _fromTop.reserve(rects.capacity());
    _leaders.resize(rects.size());
    std::iota(_leaders.begin(), _leaders.end(), 0);
    _fromTop = _leaders;
    std::sort(_fromTop.begin(), _fromTop.end(), [&](std::size_t first, std::size_t second) {
        return rects[first].top < rects[second].top;
    });
    for (auto upper = _fromTop.begin(); upper != _fromTop.end(); ++upper) {
        for (auto lower = upper + 1;
             lower != _fromTop.end() && rects[*lower].top < rects[*upper].bottom; ++lower) {
            if (rects[*upper].intersects(rects[*lower])) {
                join(*upper, *lower);
            }
        }
    }
    for (std::size_t i = 0; i < rects.size(); ++i) {
        _leaders[i] = leaderOf(i);
    }
    return _leaders;
}

/// Shortens the path to the leader for later calls.
std::size_t OverlapClusters::leaderOf(std::size_t index) {
    while (_leaders[index] != index) {
        _leaders[index] = _leaders[_leaders[index]];
        index = _leaders[index];
    }
    return index;
}

void OverlapClusters::join(std::size_t first, std::size_t second) {
    const std::size_t a = leaderOf(first);
    const std::size_t b = leaderOf(second);
    _leaders[std::max(a, b)] = std::min(a, b);
}

void DisplayList::build(const CALayer &root, const DeviceRect &device, double scale,
                        NSTimeInterval time) {
    clear();
    _time = time;
    if (!root.isHidden()) {
        present(root, [&](const PresentedLayer &presented) {
            addLayer(presented, Projection(presented, scale), device);
        });
    }
    reserve();
    holdImages();
}

/// Reserves the most that the tree can need, whichever layers overlap or are on the screen, so that
/// later pictures of it allocate nothing.
void DisplayList::reserve() {
    const std::size_t most = _layerCount * kMaxItemsPerLayer;
    _items.reserve(most);
    _members.reserve(most);
    _memberBounds.reserve(most);
    _next.reserve(most);
    _clustered.reserve(most);
    _images.reserve(most);
}

/// Keeps the images alive as long as the list, so that no new image can have the address of one
/// that a later list is compared with.
void DisplayList::holdImages() {
    const CGImage *latest = nullptr;
    for (const DisplayItem &item : _items) {
        if (item.image && item.image != latest) {
            latest = item.image;
            _images.emplace_back(item.image);
        }
    }
}

void DisplayList::clear() {
    _items.clear();
    _images.clear();
    _layerCount = 0;
    _isInProgress = false;
}

/// Reads a layer without animations in place; most have none, so most values are not copied.
template <class Action> void DisplayList::present(const CALayer &layer, const Action &action) {
    ++_layerCount;
    if (!layer.hasAnimationsInPlace()) {
        action(PresentedLayer(layer));
        return;
    }
    const LayerValues animated = layer.presentationAt(_time, &_isInProgress);
    action(PresentedLayer(layer, animated));
}

void DisplayList::addLayer(const PresentedLayer &layer, const Projection &projection,
                           const DeviceRect &clip) {
    const float opacity = layer.opacity();
    const std::uint32_t weight = opacity > 0 ? weightOf(opacity) : 0;
    if (weight == 0) {
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

void DisplayList::addOpaqueLayer(const PresentedLayer &layer, const Projection &projection,
                                 const DeviceRect &clip) {
    if (projection.isAffine() && !projection.affine()) {
        return;
    }
    const CGColor color = layer.layer().backgroundColor();
    if (color.alpha > 0) {
        addRect(projection, layer.bounds(), clip,
                {.kind = DisplayItem::Kind::Fill, .color = color});
    }
    if (!layer.layer().masksToBounds()) {
        addInside(layer, projection, clip);
    } else if (projection.isAffine()) {
        addMasked(layer, projection, clip);
    } else {
        addMaskedInPerspective(layer, projection, clip);
    }
}

void DisplayList::addInside(const PresentedLayer &layer, const Projection &projection,
                            const DeviceRect &clip) {
    if (layer.layer().contentsInPlace()) {
        addContents(layer, projection, clip);
    }
    for (const Retained<CALayer> &sublayer : layer.layer().sublayers()) {
        if (!sublayer->isHidden()) {
            present(*sublayer, [&](const PresentedLayer &presented) {
                addLayer(presented, Projection(presented, layer, projection), clip);
            });
        }
    }
}

/// A mask whose edges lie on pixel boundaries becomes a smaller clip; others need a buffer.
void DisplayList::addMasked(const PresentedLayer &layer, const Projection &projection,
                            const DeviceRect &clip) {
    const auto map = projection.affine();
    if (!map) {
        return;
    }
    const CGRect bounds = layer.bounds();
    const Affine placed =
        map->fromRect(bounds.origin.x, bounds.origin.y, bounds.size.width, bounds.size.height);
    const auto quad = DeviceQuad::make(placed, 1, 1);
    if (!quad) {
        return;
    }
    if (const auto aligned = quad->alignedRectWithin(clip)) {
        addInside(layer, projection, clip.intersection(*aligned));
        return;
    }
    const std::size_t group = beginGroup({.kind = DisplayItem::Kind::Mask, .map = placed});
    addInside(layer, projection, quad->boundsWithin(clip));
    endMask(group);
}

void DisplayList::addMaskedInPerspective(const PresentedLayer &layer, const Projection &projection,
                                         const DeviceRect &clip) {
    DisplayItem mask{.kind = DisplayItem::Kind::Mask};
    const DeviceRect bounds = place(mask, projection, layer.bounds(), clip);
    if (!bounds.isEmpty()) {
        const std::size_t group = beginGroup(mask);
        addInside(layer, projection, bounds);
        endMask(group);
    }
}

void DisplayList::addRect(const Projection &projection, const CGRect &rect, const DeviceRect &clip,
                          DisplayItem item) {
    item.bounds = place(item, projection, rect, clip);
    if (!item.bounds.isEmpty()) {
        _items.push_back(item);
    }
}

void DisplayList::addContents(const PresentedLayer &layer, const Projection &projection,
                              const DeviceRect &clip) {
    CGImage *const image = layer.layer().contentsInPlace();
    addRect(projection, contentsRect(layer, *image), clip,
            {.kind = DisplayItem::Kind::Picture, .image = image});
}

std::size_t DisplayList::beginGroup(const DisplayItem &group) {
    _items.push_back(group);
    return _items.size() - 1;
}

DeviceRect DisplayList::boundsOfMembers(std::size_t index) const {
    DeviceRect bounds;
    for (std::size_t i = index + 1; i < _items.size(); i += _items[i].length) {
        bounds = bounds.united(_items[i].bounds);
    }
    return bounds;
}

/// Removes the mask if it cuts nothing off the members.
void DisplayList::endMask(std::size_t index) {
    DisplayItem &mask = _items[index];
    mask.bounds = boundsOfMembers(index);
    mask.length = _items.size() - index;
    if (mask.bounds.isEmpty() || isWhole(mask)) {
        _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
    }
}

/// Replaces the group with its clusters, which share no pixel. A cluster of several members becomes
/// a group of its own; a member that overlaps no other fades by itself.
void DisplayList::endGroup(std::size_t index) {
    _members.clear();
    _memberBounds.clear();
    _clustered.clear();
    for (std::size_t i = index + 1; i < _items.size(); i += _items[i].length) {
        _members.push_back(i);
        _memberBounds.push_back(_items[i].bounds);
    }
    const std::vector<std::size_t> &leaders = _overlaps.find(_memberBounds);
    const std::size_t count = leaders.size();
    _next.assign(count, count);
    for (std::size_t member = count; member-- > 0;) {
        if (leaders[member] != member) {
            _next[member] = std::exchange(_next[leaders[member]], member);
        }
    }
    for (std::size_t member = 0; member < count; ++member) {
        if (leaders[member] == member) {
            addCluster(member, _items[index]);
        }
    }
    _items.resize(index);
    _items.insert(_items.end(), _clustered.begin(), _clustered.end());
}

void DisplayList::addCluster(std::size_t leader, const DisplayItem &group) {
    const std::size_t start = _clustered.size();
    _clustered.push_back(group);
    for (std::size_t member = leader; member < _next.size(); member = _next[member]) {
        const DisplayItem *const item = &_items[_members[member]];
        _clustered.insert(_clustered.end(), item, item + item->length);
        _clustered[start].bounds = _clustered[start].bounds.united(item->bounds);
    }
    _clustered[start].length = _clustered.size() - start;
    if (_next[leader] == _next.size()) {
        DisplayItem &item = _clustered[start + 1];
        item.weight = PixelArithmetic::product(item.weight, group.weight);
        _clustered.erase(_clustered.begin() + static_cast<std::ptrdiff_t>(start));
    }
}
