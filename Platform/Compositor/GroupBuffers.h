#pragma once

#include "Platform/Compositor/CellMask.h"
#include "Platform/Compositor/PixelArea.h"

#include <deque>
#include <vector>

/// Where groups are drawn into before they are blended as one, and notes on what is in them. The
/// memory is kept, and a buffer takes all that it may ever need at once, so that frames after the
/// first few take none. What is never drawn into never becomes real.
class GroupBuffers {
  public:
    class Buffer {
      public:
        /// Pixels that members may change, and those of them that several may.
        CellMask shown;
        CellMask shared;

        /// Not cleared; valid until the buffer goes back.
        PixelArea pixels(const DeviceRect &area);

      private:
        friend class GroupBuffers;

        explicit Buffer(const DeviceRect &largest);

        CGPixels _pixels;
    };

    /// From now on no area is larger than this one, within which they all lie. No buffer is taken.
    void setLargest(const DeviceRect &area);

    /// Both masks empty and for `area`. The buffer taken last goes back first.
    Buffer &take(const DeviceRect &area);
    void giveBack() { _taken--; }
    void purge() { _buffers.clear(); }

  private:
    DeviceRect _largest;
    std::deque<Buffer> _buffers;
    std::size_t _taken = 0;
};
