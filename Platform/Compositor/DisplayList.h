#pragma once

#include "Platform/Compositor/DeviceQuad.h"
#include "Platform/Compositor/OverlapClusters.h"
#include "Platform/Compositor/ProjectiveQuad.h"

#include <cstdint>
#include <vector>

/// One thing to draw, placed on the device.
struct DisplayItem {
    enum class Kind : std::uint8_t {
        Fill,    ///< `color` in the parallelogram.
        Picture, ///< `image` filling the parallelogram.
        Group,   ///< The items after it, drawn as one.
        Mask,    ///< A group that shows only inside the parallelogram.
    };

    Kind kind;
    /// Of 65536; opacity.
    std::uint32_t weight = 65536;
    /// How many items of the list it takes up: 1, and for a group its members too.
    std::size_t length = 1;
    /// The pixels it may touch; it must be drawn on none but these.
    DeviceRect bounds = {};
    /// Places the unit square; in perspective, before the division by the depth.
    Affine map = {};
    Depth depth = {};
    CGColor color = {};
    /// Not owned: belongs to the layer, which stays as it is until the picture is done.
    CGImage *image = nullptr;

    friend bool operator==(const DisplayItem &, const DisplayItem &) = default;

    /// A quadrilateral takes the place of the parallelogram.
    bool isInPerspective() const { return !depth.isEven(); }
};

/// A layer tree as the flat list of what there is to see, back to front: invisible layers are
/// gone, rectangular clips have become part of the bounds, and groups remain only around things
/// that overlap and fade together.
class DisplayList {
  public:
    /// The tree as it looks at `time`; `device` is the whole target. Main thread; keeps its memory
    /// for the next picture.
    void build(const CALayer &root, const DeviceRect &device, double scale, NSTimeInterval time);

    const std::vector<DisplayItem> &items() const { return _items; }

    /// Animations of layers that are not hidden will soon make the picture another one.
    bool isInProgress() const { return _isInProgress; }

    void clear();

  private:
    void takeMemory();
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
    std::size_t _layerCount = 0;
    NSTimeInterval _time = 0;
    bool _isInProgress = false;

    // While a group is taken apart: where each member begins, its bounds, the next member in its
    // cluster (their number at the end), and what replaces the group.
    std::vector<std::size_t> _members;
    std::vector<DeviceRect> _memberBounds;
    std::vector<std::size_t> _next;
    std::vector<DisplayItem> _clustered;
    OverlapClusters _overlaps;
};
