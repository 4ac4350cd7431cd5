#include "Platform/Compositor/GroupBuffers.h"

PixelArea GroupBuffers::Buffer::pixels(const DeviceRect &area) {
    const auto size = static_cast<std::size_t>(area.area());
    if (_pixels.size() < size) {
        _pixels.resize(size);
    }
    return {_pixels.data(), area, area.width()};
}

GroupBuffers::Buffer &GroupBuffers::take(const DeviceRect &area) {
    if (_taken == _buffers.size()) {
        _buffers.emplace_back();
    }
    Buffer &buffer = _buffers[_taken++];
    buffer.shown.reset(area);
    buffer.shared.reset(area);
    return buffer;
}
