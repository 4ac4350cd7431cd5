#include "Platform/Compositor/GroupBuffers.h"

PixelArea GroupBuffers::take(const DeviceRect &area) {
    if (_taken == _buffers.size()) {
        _buffers.emplace_back();
    }
    std::vector<std::uint32_t> &buffer = _buffers[_taken++];
    const auto size = static_cast<std::size_t>(area.area());
    if (buffer.size() < size) {
        buffer.resize(size);
    }
    std::fill_n(buffer.begin(), size, 0);
    return {buffer.data(), area, area.width()};
}
