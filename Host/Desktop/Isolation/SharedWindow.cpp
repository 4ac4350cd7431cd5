#include "Host/Desktop/Isolation/SharedWindow.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Lumivera {

namespace {

/// A buffer into which the view has not drawn for more than this many pictures is repainted whole.
constexpr std::uint64_t kMaxAge = 16;

/// Copies the rectangles into a report. When it has no room for all of them, its last one encloses
/// the rest.
std::uint32_t copyRects(const std::vector<DeviceRect> &rects, DeviceRect *copies) {
    const std::size_t count = std::min<std::size_t>(rects.size(), ViewReport::kMaxRects);
    std::copy_n(rects.begin(), count, copies);
    for (std::size_t i = count; i < rects.size(); ++i) {
        copies[count - 1] = copies[count - 1].united(rects[i]);
    }
    return static_cast<std::uint32_t>(count);
}

bool mayChangeView(const ViewOrder &order) {
    using Kind = ViewOrder::Kind;
    return order.kind == Kind::Set || order.kind == Kind::Tap || order.kind == Kind::Scroll ||
           order.kind == Kind::FinishScroll;
}

} // namespace

SharedWindow::SharedWindow(const PacketSocket &host, std::unique_ptr<SharedBuffers> memory,
                           CGFloat density, bool isTransparent)
    : _host(host), _memory(std::move(memory)), _density(density), _isTransparent(isTransparent),
      _drawnAt(_memory->count()) {}

void SharedWindow::obey(const ViewOrder &order) {
    const CGFloat x = static_cast<CGFloat>(order.x);
    _isChangeDue = _isChangeDue || mayChangeView(order);
    switch (order.kind) {
    case ViewOrder::Kind::Draw:
        allowDrawing(order.index);
        break;
    case ViewOrder::Kind::Run:
    case ViewOrder::Kind::Rest:
        setResting(order.kind == ViewOrder::Kind::Rest);
        break;
    case ViewOrder::Kind::Tap:
        _listener->tapped({x, static_cast<CGFloat>(order.y)});
        break;
    case ViewOrder::Kind::Scroll:
        _listener->scrolledBy(x);
        break;
    case ViewOrder::Kind::FinishScroll:
        _listener->scrollingEnded();
        break;
    default:
        break;
    }
}

/// The picture appears at the end of this call-out if the tree has changed since the last picture,
/// else at the end of the call-out that changes it: the show presents after every call-out, and
/// keeps what it could not present.
void SharedWindow::allowDrawing(std::uint32_t index) {
    if (index < _memory->count()) {
        _allowed = index;
    }
}

void SharedWindow::setResting(bool isResting) {
    _isResting = isResting;
    updatePause();
}

/// The view rests from its first picture on: its show is paused, and still draws what changes.
void SharedWindow::updatePause() {
    const bool isPaused = _isResting && _pictureCount > 0;
    if (std::exchange(_isPaused, isPaused) != isPaused) {
        _listener->keyPressed(WindowKey::Pause);
    }
}

CGSize SharedWindow::size() const {
    return {_memory->width() / _density, _memory->height() / _density};
}

void SharedWindow::present(const Drawing &draw) {
    if (!_hasBegun && _beginning) {
        _beginning();
    }
    if (!_hasBegun || !_allowed || (_isPaused && !_isChangeDue)) {
        return;
    }
    _isChangeDue = false;
    const std::uint32_t index = *_allowed;
    const std::uint64_t age = _drawnAt[index] == 0 ? 0 : _pictureCount - _drawnAt[index] + 1;
    CompositorTarget target{_memory->pixels(index), _memory->width(), _memory->height(),
                            _memory->width()};
    target.age = age > kMaxAge ? 0 : static_cast<unsigned>(age);
    target.isTransparent = _isTransparent;
    const std::vector<DeviceRect> &rects = draw(target);
    _drawnAt[index] = ++_pictureCount;
    _allowed.reset();
    report(index, rects);
    updatePause();
}

void SharedWindow::report(std::uint32_t index, const std::vector<DeviceRect> &rects) const {
    ViewReport report;
    report.kind = ViewReport::Kind::Picture;
    report.index = index;
    report.count = copyRects(rects, report.rects);
    const std::size_t bytes = offsetof(ViewReport, rects) + report.count * sizeof(DeviceRect);
    _host.send(&report, bytes, PacketSocket::Wait::Yes);
}

} // namespace Lumivera
