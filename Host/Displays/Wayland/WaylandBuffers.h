#pragma once

#include "Host/Displays/SharedPicture.h"

#include <memory>
#include <optional>
#include <vector>

struct wl_buffer;
struct wl_shm;

namespace Lumivera {

/// The pictures of one memory as the compositor knows them. The memory lives as long as the
/// compositor may read it. Main thread.
class WaylandBuffers final {
  public:
    /// A HostError when the memory is larger than Wayland can share.
    WaylandBuffers(wl_shm *shm, std::shared_ptr<SharedPicture> memory);
    ~WaylandBuffers();

    WaylandBuffers(const WaylandBuffers &) = delete;
    WaylandBuffers &operator=(const WaylandBuffers &) = delete;

    const SharedPicture &memory() const { return *_memory; }
    const std::shared_ptr<SharedPicture> &memoryPointer() const { return _memory; }

    /// The first picture that the compositor does not read.
    std::optional<unsigned> lowestFree() const;

    /// A picture to show; it is not free until the compositor releases it.
    wl_buffer *take(unsigned index);

    /// Nothing more is shown from the memory: the pictures go as they become free.
    void retire();

    /// True when all pictures have gone.
    bool isEmpty() const;

  private:
    struct Events;

    struct Buffer {
        WaylandBuffers *owner;
        wl_buffer *handle;
        bool isBusy;
    };

    void released(Buffer &buffer) const;

    const std::shared_ptr<SharedPicture> _memory;
    std::vector<Buffer> _buffers;
    bool _isRetired = false;
};

} // namespace Lumivera
