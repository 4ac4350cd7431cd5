#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/Compositor/ScaledPictures.h"
#include "Platform/Compositor/SpritePainter.h"

#include <variant>

/// How an item of a display list is drawn.
struct ItemPlan {
    /// Not decided yet.
    struct Undecided {};

    /// There is nothing to see, or the item is a group: its members have their own plans.
    struct Nothing {};

    /// A picture whose texels lie on pixels one to one, its top left one at (left, top).
    struct Copy {
        int left;
        int top;
    };

    /// A large upright picture: scaled once, then copied. ItemPlanner::scaled() has its pixels.
    struct Scaled {};

    struct PerspectivePicture {
        /// Not owned.
        const SpriteTexels *texels;
        ProjectiveQuad quad;
    };

    /// Fills and masks are drawn within a quad.
    std::variant<Undecided, Nothing, Copy, Scaled, Sprite, PerspectivePicture, DeviceQuad,
                 ProjectiveQuad>
        way;

    template <class Way> const Way *as() const { return std::get_if<Way>(&way); }
};

/// Decides how the items of a frame's list are drawn, once for each item and frame, and keeps the
/// pictures that it prepared for that. Keeps its memory.
class ItemPlanner {
  public:
    /// Begins a frame that shows `list`, which is not owned and unchanged until endFrame(), on the
    /// whole `device`.
    void beginFrame(const DisplayList &list, const DeviceRect &device);

    const DeviceRect &device() const { return _device; }

    /// The plan of an item. For an item of the frame's list it is valid until endFrame(), for any
    /// other until the next call.
    const ItemPlan &planOf(const DisplayItem &item);

    /// The pixels of the bounds of an item that is to be drawn Scaled; see
    /// ScaledPictures::scaled().
    Picture scaled(const DisplayItem &item);

    /// Adds the pixels that an item, with its members, may change; see CellMask::add().
    void mark(const DisplayItem &item, CellMask &mask, CellMask *again = nullptr);

    /// Forgets prepared pictures that frames no longer use. A frame that was not painted leaves the
    /// scaled ones alone, because it did not ask for them.
    void endFrame(bool wasPainted);
    void purge();

  private:
    ItemPlan decide(const DisplayItem &item);
    ItemPlan planPicture(const DisplayItem &item);
    ItemPlan planSprite(const DisplayItem &item);
    ItemPlan planInPerspective(const DisplayItem &item);

    const DisplayList *_list = nullptr;
    DeviceRect _device;
    std::vector<ItemPlan> _plans;
    ItemPlan _planOfOther;
    PolygonSpans _shown;
    ScaledPictures _scaled;
    SpritePictures _pictures;
};
