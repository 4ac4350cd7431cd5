#include "Platform/Compositor/GroupBuffers.h"

GroupBuffers::Buffer::Buffer(const DeviceRect &largest) {
    shown.reset(largest);
    shared.reset(largest);
    _pixels.reserve(static_cast<std::size_t>(largest.area()));
}

PixelArea GroupBuffers::Buffer::pixels(const DeviceRect &area) {
    const auto size = static_cast<std::size_t>(area.area());
    if (_pixels.size() < size) {
        _pixels.resize(size);
    }
    return {_pixels.data(), area, area.width()};
}

void GroupBuffers::setLargest(const DeviceRect &area) {
    if (area != _largest) {
        _largest = area;
        _buffers.clear();
        _buffers.push_back(Buffer(_largest)); // petals may begin to overlap in any frame
    }
}

GroupBuffers::Buffer &GroupBuffers::take(const DeviceRect &area) {
    if (_taken == _buffers.size()) {
        _buffers.push_back(Buffer(_largest));
    }
    Buffer &buffer = _buffers[_taken++];
    buffer.shown.reset(area);
    buffer.shared.reset(area);
    return buffer;
}
