#include "Host/Desktop/Isolation/SharedDisplay.h"

#include <algorithm>
#include <cstddef>

namespace Lumivera {

namespace {

constexpr std::uint64_t kOldestAge = 16;

/// All of them, the last ones as one around the rest when there are too many to tell.
std::uint32_t copyRects(const std::vector<DeviceRect> &rects, DeviceRect *copies) {
    const std::size_t count = std::min<std::size_t>(rects.size(), ViewReport::kMostRects);
    std::copy_n(rects.begin(), count, copies);
    for (std::size_t i = count; i < rects.size(); ++i) {
        copies[count - 1] = copies[count - 1].united(rects[i]);
    }
    return static_cast<std::uint32_t>(count);
}

} // namespace

SharedDisplay::SharedDisplay(const PacketSocket &reports, std::unique_ptr<SharedBuffers> memory,
                             CGFloat density)
    : _reports(reports), _memory(std::move(memory)), _density(density), _drawnAt(_memory->count()) {
}

void SharedDisplay::allowDrawing(std::uint32_t index) {
    if (index < _memory->count()) {
        _allowed = index;
    }
}

void SharedDisplay::setResting(bool isResting) {
    _isResting = isResting;
    if (_listener) {
        _listener->displayVisibilityChanged();
    }
}

CGSize SharedDisplay::size() const {
    return {_memory->width() / _density, _memory->height() / _density};
}

void SharedDisplay::present(const Drawing &draw) {
    if (!_hasBegun || !_allowed) {
        return;
    }
    const std::uint32_t index = *_allowed;
    const std::uint64_t age = _drawnAt[index] == 0 ? 0 : _pictureCount - _drawnAt[index] + 1;
    CompositorTarget target{_memory->pixels(index), _memory->width(), _memory->height(),
                            _memory->width()};
    target.age = age > kOldestAge ? 0 : static_cast<unsigned>(age);
    const std::vector<DeviceRect> &rects = draw(target);
    _drawnAt[index] = ++_pictureCount;
    _allowed.reset();
    report(index, rects);
    if (_isResting && _pictureCount == 1) {
        setResting(true);
    }
}

void SharedDisplay::report(std::uint32_t index, const std::vector<DeviceRect> &rects) const {
    ViewReport report;
    report.kind = ViewReport::Kind::Picture;
    report.index = index;
    report.count = copyRects(rects, report.rects);
    const std::size_t bytes = offsetof(ViewReport, rects) + report.count * sizeof(DeviceRect);
    _reports.send(&report, bytes, PacketSocket::Wait::Yes);
}

} // namespace Lumivera
