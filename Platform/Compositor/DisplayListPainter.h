#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/Compositor/GroupBuffers.h"
#include "Platform/Compositor/PictureReductions.h"
#include "Platform/Compositor/ScaledPictures.h"

/// Draws a display list with the processor, and keeps what it prepared for it.
class DisplayListPainter {
  public:
    void paint(const DisplayList &list, const PixelArea &target);
    void purge();

  private:
    using Item = DisplayItem;

    void paintMembers(const Item *first, const Item *end, const PixelArea &target);
    void paintItem(const Item &item, const PixelArea &target);
    void paintGroup(const Item &group, const PixelArea &target);
    void paintPicture(const Item &item, const PixelArea &target);
    void paintSampled(const Item &item, const PixelArea &target);
    bool isWorthScaling(const Item &item) const;

    DeviceRect _device;
    GroupBuffers _buffers;
    PictureReductions _reductions;
    ScaledPictures _scaled;
};
