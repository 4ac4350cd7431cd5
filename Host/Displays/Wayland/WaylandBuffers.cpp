#include <wayland-client.h>

#include "Host/Displays/Wayland/WaylandBuffers.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Lumivera {

namespace {

void destroy(wl_buffer *&buffer) {
    if (buffer) {
        wl_buffer_destroy(std::exchange(buffer, nullptr));
    }
}

} // namespace

struct WaylandBuffers::Events {
    static void release(void *data, wl_buffer *) {
        auto &buffer = *static_cast<Buffer *>(data);
        buffer.owner->released(buffer);
    }

    static constexpr wl_buffer_listener kBuffer{.release = release};
};

WaylandBuffers::WaylandBuffers(wl_shm *shm, std::shared_ptr<SharedBuffers> memory)
    : _memory(std::move(memory)), _buffers(_memory->count(), {this, nullptr, false}) {
    if (_memory->bytes() > INT32_MAX) {
        throw HostError("picture memory", "is larger than Wayland can share",
                        "choose a smaller mode for the screen");
    }
    wl_shm_pool *const pool =
        wl_shm_create_pool(shm, _memory->descriptor(), static_cast<std::int32_t>(_memory->bytes()));
    std::int32_t offset = 0;
    for (Buffer &buffer : _buffers) {
        buffer.handle = wl_shm_pool_create_buffer(
            pool, offset, static_cast<std::int32_t>(_memory->width()),
            static_cast<std::int32_t>(_memory->height()),
            static_cast<std::int32_t>(_memory->rowBytes()), WL_SHM_FORMAT_XRGB8888);
        wl_buffer_add_listener(buffer.handle, &Events::kBuffer, &buffer);
        offset += static_cast<std::int32_t>(_memory->bufferBytes());
    }
    wl_shm_pool_destroy(pool);
}

WaylandBuffers::~WaylandBuffers() {
    for (Buffer &buffer : _buffers) {
        destroy(buffer.handle);
    }
}

std::optional<unsigned> WaylandBuffers::lowestFree() const {
    for (unsigned index = 0; index < _buffers.size(); ++index) {
        if (!_buffers[index].isBusy) {
            return index;
        }
    }
    return std::nullopt;
}

wl_buffer *WaylandBuffers::take(unsigned index) {
    _buffers[index].isBusy = true;
    return _buffers[index].handle;
}

void WaylandBuffers::retire() {
    _isRetired = true;
    for (Buffer &buffer : _buffers) {
        if (!buffer.isBusy) {
            destroy(buffer.handle);
        }
    }
}

bool WaylandBuffers::isEmpty() const {
    return std::all_of(_buffers.begin(), _buffers.end(),
                       [](const Buffer &buffer) { return !buffer.handle; });
}

void WaylandBuffers::released(Buffer &buffer) const {
    buffer.isBusy = false;
    if (_isRetired) {
        destroy(buffer.handle);
    }
}

} // namespace Lumivera
