#pragma once

#include "Platform/Compositor/DeviceRect.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/QuartzCore/CALayer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Memory that a compositor draws into: `height` rows of `width` pixels, the first row at `pixels`
/// and each next one `stride` pixels later; a pixel is a 32-bit word 0xAARRGGBB, premultiplied.
/// Owned by the caller.
struct CompositorTarget {
    std::uint32_t *pixels = nullptr;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t stride = 0;

    /// How many calls of composite() ago this memory was last drawn into, if nobody has written to
    /// it since: 1 for the latest call, 2 for a display that alternates between two buffers, 0 when
    /// its contents are not known. Above 0, only what changed since then is drawn.
    unsigned age = 0;

    /// Whether the tree is drawn over nothing instead of over black, to be blended over something
    /// else: a pixel that the tree leaves uncovered is 0. In other targets every pixel is opaque.
    bool isTransparent = false;
};

/// Turns a layer tree into pixels. Used on the main thread, one tree and one target size at a time;
/// a compositor may keep what it prepared for the next picture.
class PLATFORM_EXPORT Compositor {
  public:
    virtual ~Compositor() = default;

    /// Draws the tree over black, or over nothing into a transparent target, with its animations as
    /// they are at this time of the media clock. The root's bounds lie at the target's top left
    /// corner, whatever its own position; `scale` is the number of pixels a point and above 0.
    /// Afterwards root.needsComposite() is false. A target without pixels is left alone.
    ///
    /// Returns the damage that a display has to present: disjoint rectangles outside of which this
    /// picture equals that of the call before. It is the whole target when the age is 0 or the size
    /// or the transparency is new, and empty when nothing changed. Valid until the next call.
    virtual const std::vector<DeviceRect> &composite(CALayer &root, const CompositorTarget &target,
                                                     CGFloat scale) = 0;

    /// Whether animations that were seen in the last picture are still in progress. If so, the next
    /// picture will differ, although root.needsComposite() is false.
    virtual bool isAnimationInProgress() const = 0;

    /// Frees what was prepared; the next picture takes longer.
    virtual void purge() = 0;
};
