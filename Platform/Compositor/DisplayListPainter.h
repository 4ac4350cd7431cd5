#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/Compositor/GroupBuffers.h"
#include "Platform/Compositor/ScaledPictures.h"
#include "Platform/Compositor/SpritePainter.h"
#include "Platform/Compositor/SpritePictures.h"

/// Draws a display list with the processor, and keeps what it prepared for it.
class DisplayListPainter {
  public:
    /// Draws with these loops.
    explicit DisplayListPainter(const PixelKernels &kernels)
        : _kernels(kernels), _sprites(kernels) {}

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

    const PixelKernels &_kernels;
    DeviceRect _device;
    GroupBuffers _buffers;
    ScaledPictures _scaled;
    SpritePictures _pictures;
    SpritePainter _sprites;
};
