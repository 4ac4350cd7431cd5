#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/Compositor/GroupBuffers.h"
#include "Platform/Compositor/PaintClip.h"
#include "Platform/Compositor/PaintHelper.h"
#include "Platform/Compositor/ScaledPictures.h"
#include "Platform/Compositor/SpritePainter.h"
#include "Platform/Compositor/SpritePictures.h"

#include <deque>
#include <mutex>
#include <optional>

/// Draws display lists with the processor, and keeps what it prepared for them. One thread calls;
/// others may help it to draw.
class DisplayListPainter {
  public:
    /// Draws with these loops.
    explicit DisplayListPainter(const PixelKernels &kernels);

    /// How many threads draw, the caller's included; 1 at first.
    void setThreads(unsigned count);

    /// Comes before the other calls of a frame; `list` is what it shows, not owned and unchanged
    /// until endFrame(), and `target` the whole device.
    void beginFrame(const DisplayList &list, const PixelArea &target);

    /// Adds the pixels that an item of this or another list, with its members, may change.
    void mark(const DisplayItem &item, CellMask &mask);

    /// Draws the frame's list over black into its target: all, or only what is in the mask, whose
    /// area is the device. A pixel comes out the same either way.
    void paint(const CellMask *mask);

    /// Forgets what frames no longer use. Of one that was not painted nobody knows what it uses.
    void endFrame();
    void purge();

  private:
    using Item = DisplayItem;

    // A picture as it is drawn when it is turned, scaled or between pixels.
    struct Sampled {
        const SpriteTexels *texels;
        DeviceQuad quad;
    };

    // What was found when an item of the frame's list was marked, for drawing it: a sprite, and
    // where the spans of its rows are.
    struct Found {
        std::optional<Sampled> sprite;
        std::size_t firstSpan = 0;
        int top = 0;
        int bottom = 0;
    };

    // Where to note which pixels items may change, see CellMask::add(), and whether to keep what is
    // found for drawing.
    struct Marking {
        CellMask &mask;
        CellMask *again;
        SpritePainter &sprites;
        bool isKept;
    };

    // What a thread draws with.
    struct Hand {
        explicit Hand(const PixelKernels &kernels) : sprites(kernels) {}

        SpritePainter sprites;
        GroupBuffers buffers;
    };

    // Where and with what to draw, and how much of everything's weight counts there.
    struct Canvas {
        Hand &hand;
        const PixelArea &target;
        PaintClip clip;
        std::uint32_t weight;
    };

    Found *foundOf(const Item &item);
    void keep(const Sampled &sprite, const PolygonSpans &shown, Found &found);
    PolygonSpans::Kept spansOf(const Found &found, const DeviceRect &clip) const;
    bool hidesAll(const Item &item);
    int bandRows() const;
    void paintBand(const Canvas &canvas, bool isHidden);
    void mark(const Item &item, const Marking &marking);
    void markSprite(const Item &item, const Marking &marking);
    bool isSprite(const Item &item) const;
    void paintMembers(const Item *first, const Item *end, const Canvas &canvas);
    void paintItem(const Item &item, const Canvas &canvas);
    void paintGroup(const Item &group, const Canvas &canvas);
    void paintShared(const Item &group, GroupBuffers::Buffer &buffer, const Canvas &canvas);
    void paintMask(const Item &group, const Canvas &canvas);
    void paintInto(const PixelArea &pixels, const CellMask &shown, const Item &group, Hand &hand);
    void paintPicture(const Item &item, const Canvas &canvas);
    void paintInPerspective(const Item &item, const Canvas &canvas);
    void copyMasked(const Item &mask, const Picture &picture, const Canvas &canvas);
    const ColumnPicture &scaledFor(const Item &item);
    std::optional<Sampled> sampled(const Item &item);
    const SpriteTexels &texelsOf(CGImage &image, int halvingsX, int halvingsY);
    bool isWorthScaling(const Item &item) const;

    const PixelKernels &_kernels;
    const DisplayList *_list = nullptr;
    PixelArea _target;
    DeviceRect _device;
    bool _isPainted = false;

    // One for each item of the list.
    std::vector<Found> _found;
    std::vector<PolygonSpans::Span> _spans;

    // The first one is the caller's.
    std::deque<Hand> _hands;
    std::deque<PaintHelper> _helpers;

    // Guards what threads share while they draw.
    std::mutex _preparing;
    ScaledPictures _scaled;
    SpritePictures _pictures;
};
