#pragma once

#include "Platform/Compositor/PixelArithmetic.h"
#include "Platform/Compositor/ProjectiveQuad.h"

#include <cstdint>
#include <vector>

class ItemRange;

/// One thing to draw, placed on the device.
struct DisplayItem {
    enum class Kind : std::uint8_t {
        Fill,    ///< `color` in the parallelogram.
        Picture, ///< `image` filling the parallelogram.
        Group,   ///< The items after it, drawn as one.
        Mask,    ///< A group that shows only inside the parallelogram.
    };

    Kind kind;
    /// The opacity, as a fraction of PixelArithmetic::kFullWeight.
    std::uint32_t weight = PixelArithmetic::kFullWeight;
    /// How many items of the list it takes up: 1, and for a group its members too.
    std::size_t length = 1;
    /// The pixels it may touch; it must be drawn on none but these.
    DeviceRect bounds = {};
    /// Places the unit square; in perspective, before the division by the depth.
    Affine map = {};
    Depth depth = {};
    CGColor color = {};
    /// Not owned; the list keeps it alive.
    CGImage *image = nullptr;

    friend bool operator==(const DisplayItem &, const DisplayItem &) = default;

    /// Whether the item lies in a quadrilateral instead of a parallelogram.
    bool isInPerspective() const { return !depth.isEven(); }

    /// The members of a group.
    ItemRange members() const;
};

/// Items of a list that follow each other. A walk over them passes a group as one item.
class ItemRange {
  public:
    class Iterator {
      public:
        explicit Iterator(const DisplayItem *item) : _item(item) {}

        const DisplayItem &operator*() const { return *_item; }
        Iterator &operator++() {
            _item += _item->length;
            return *this;
        }
        friend bool operator==(const Iterator &, const Iterator &) = default;

      private:
        const DisplayItem *_item;
    };

    ItemRange(const DisplayItem *first, const DisplayItem *end) : _first(first), _end(end) {}

    Iterator begin() const { return Iterator(_first); }
    Iterator end() const { return Iterator(_end); }

  private:
    const DisplayItem *_first;
    const DisplayItem *_end;
};

inline ItemRange DisplayItem::members() const { return {this + 1, this + length}; }

/// Sorts rectangles into clusters: two that overlap are in the same cluster, and so are two that
/// are connected by others. Keeps its memory.
class OverlapClusters {
  public:
    /// For each rectangle the index of the first one in its cluster. Valid until the next call.
    const std::vector<std::size_t> &find(const std::vector<DeviceRect> &rects);

  private:
    std::size_t leaderOf(std::size_t index);
    void join(std::size_t first, std::size_t second);

    std::vector<std::size_t> _leaders;
    std::vector<std::size_t> _fromTop;
};

/// A layer tree as a flat list of what there is to see, back to front. It leaves out invisible
/// layers, turns rectangular clips into smaller bounds, and has groups only around things that
/// overlap and fade together.
class DisplayList {
  public:
    /// Makes a list of the tree as it looks at `time`; `device` is the whole target, `scale` the
    /// number of pixels a point. Main thread; keeps its memory for the next picture.
    void build(const CALayer &root, const DeviceRect &device, double scale, NSTimeInterval time);

    const std::vector<DisplayItem> &items() const { return _items; }
    ItemRange range() const { return {_items.data(), _items.data() + _items.size()}; }

    /// Whether animations of layers that are not hidden will change the next picture.
    bool isInProgress() const { return _isInProgress; }

    /// Removes all items and releases their images.
    void clear();

  private:
    void reserve();
    void holdImages();
    template <class Action> void present(const CALayer &layer, const Action &action);
    void addLayer(const PresentedLayer &layer, const Projection &projection,
                  const DeviceRect &clip);
    void addOpaqueLayer(const PresentedLayer &layer, const Projection &projection,
                        const DeviceRect &clip);
    void addInside(const PresentedLayer &layer, const Projection &projection,
                   const DeviceRect &clip);
    void addMasked(const PresentedLayer &layer, const Projection &projection,
                   const DeviceRect &clip);
    void addMaskedInPerspective(const PresentedLayer &layer, const Projection &projection,
                                const DeviceRect &clip);
    void addRect(const Projection &projection, const CGRect &rect, const DeviceRect &clip,
                 DisplayItem item);
    void addContents(const PresentedLayer &layer, const Projection &projection,
                     const DeviceRect &clip);
    std::size_t beginGroup(const DisplayItem &group);
    void endMask(std::size_t index);
    void endGroup(std::size_t index);
    void addCluster(std::size_t leader, const DisplayItem &group);
    DeviceRect boundsOfMembers(std::size_t index) const;

    std::vector<DisplayItem> _items;
    std::vector<Retained<CGImage>> _images;
    std::size_t _layerCount = 0;
    NSTimeInterval _time = 0;
    bool _isInProgress = false;

    // Used while a group is split into clusters: the index and the bounds of each member, the next
    // member in its cluster (their number at the end), and the items that replace the group.
    std::vector<std::size_t> _members;
    std::vector<DeviceRect> _memberBounds;
    std::vector<std::size_t> _next;
    std::vector<DisplayItem> _clustered;
    OverlapClusters _overlaps;
};
