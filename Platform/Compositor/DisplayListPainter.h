#pragma once

#include "Platform/Compositor/GroupBuffers.h"
#include "Platform/Compositor/ItemPlanner.h"
#include "Platform/Compositor/QuadPainter.h"

/// Draws a display list as an ItemPlanner planned it: walks through groups and masks, and hands
/// every other item to the painter of its kind. Keeps its memory.
class DisplayListPainter {
  public:
    /// The planner is not owned.
    DisplayListPainter(const PixelKernels &kernels, ItemPlanner &planner)
        : _planner(planner), _quads(kernels), _sprites(kernels) {}

    /// Draws the list that the planner's frame shows over pixels of the value `ground`: all, or
    /// only what is in the mask, whose area is the device. The mask never changes the value of a
    /// pixel that is drawn.
    void paint(const DisplayList &list, const PixelArea &target, const CellMask *mask,
               std::uint32_t ground);

    void purge() { _buffers.purge(); }

  private:
    using Item = DisplayItem;

    // Where to draw, and the weight of everything that is drawn there.
    struct Surface {
        const PixelArea &target;
        PaintClip clip;
        std::uint32_t weight;
    };

    bool hidesAll(const Item &item);
    void paintMembers(ItemRange members, const Surface &surface);
    void paintItem(const Item &item, const Surface &surface);
    void paintFill(const Item &item, const Surface &surface);
    void paintPicture(const Item &item, const Surface &surface);
    void paintGroup(const Item &group, const Surface &surface);
    void paintShared(const Item &group, GroupBuffers::Buffer &buffer, const Surface &surface);
    void paintMask(const Item &mask, const Surface &surface);
    Picture paintInto(GroupBuffers::Buffer &buffer, const CellMask &shown, const Item &group);

    ItemPlanner &_planner;
    QuadPainter _quads;
    SpritePainter _sprites;
    GroupBuffers _buffers;
};
