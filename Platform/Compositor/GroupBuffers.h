#pragma once

#include "Platform/Compositor/CellMask.h"
#include "Platform/Compositor/PixelArea.h"

#include <deque>
#include <vector>

/// Buffers that groups are drawn into before they are blended as one. They are kept, and each
/// allocates at once all that it may ever need, so that frames after the first few allocate
/// nothing. Pages that are never drawn into never become resident.
class GroupBuffers {
  public:
    class Buffer {
      public:
        /// The pixels that members may change, and those that more than one member may change.
        CellMask shown;
        CellMask shared;

        /// Pixels to draw into; not cleared, valid until the buffer is given back.
        PixelArea pixels(const DeviceRect &area);

      private:
        friend class GroupBuffers;

        explicit Buffer(const DeviceRect &largest);

        PixelBuffer _pixels;
    };

    /// Sets the size of the largest area that buffers will be taken for. Every buffer must have
    /// been given back.
    void setLargest(const DeviceRect &area);

    /// A buffer for `area` with both masks empty. Buffers are given back in reverse order.
    Buffer &take(const DeviceRect &area);
    void giveBack() { --_taken; }
    void purge() { _buffers.clear(); }

  private:
    DeviceRect _largest;
    std::deque<Buffer> _buffers;
    std::size_t _taken = 0;
};
