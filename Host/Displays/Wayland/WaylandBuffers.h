#pragma once

#include "Host/Displays/SharedBuffers.h"

#include <memory>
#include <optional>
#include <vector>

struct wl_buffer;
struct wl_shm;

namespace Lumivera {

/// The wl_buffers of shared memory, which they keep alive as long as the compositor may read it.
/// Main thread.
class WaylandBuffers final {
  public:
    /// A HostError when the memory is larger than Wayland can share.
    WaylandBuffers(wl_shm *shm, std::shared_ptr<SharedBuffers> memory);
    ~WaylandBuffers();

    WaylandBuffers(const WaylandBuffers &) = delete;
    WaylandBuffers &operator=(const WaylandBuffers &) = delete;

    const SharedBuffers &memory() const { return *_memory; }
    const std::shared_ptr<SharedBuffers> &memoryPointer() const { return _memory; }

    /// The first buffer that the compositor has released or never had.
    std::optional<unsigned> lowestFree() const;

    /// The buffer to attach; it is busy until the compositor releases it.
    wl_buffer *take(unsigned index);

    /// Destroys the buffers as soon as the compositor has released them. Nothing more is shown.
    void retire();

    /// True when all buffers are destroyed.
    bool isEmpty() const;

  private:
    struct Events;

    struct Buffer {
        WaylandBuffers *owner;
        wl_buffer *handle;
        bool isBusy;
    };

    void released(Buffer &buffer) const;

    const std::shared_ptr<SharedBuffers> _memory;
    std::vector<Buffer> _buffers;
    bool _isRetired = false;
};

} // namespace Lumivera
