#pragma once

#include "Platform/Compositor/CellMask.h"
#include "Platform/Compositor/PixelArea.h"

#include <deque>
#include <vector>

/// Where groups are drawn into before they are blended as one, and notes on what is in them. The
/// memory is kept, so that frames after the first few take none.
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
        std::vector<std::uint32_t> _pixels;
    };

    /// Both masks empty and for `area`. The buffer taken last goes back first.
    Buffer &take(const DeviceRect &area);
    void giveBack() { _taken--; }
    void purge() { _buffers.clear(); }

  private:
    std::deque<Buffer> _buffers;
    std::size_t _taken = 0;
};
