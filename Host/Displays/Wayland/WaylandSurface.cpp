#include "Host/Displays/Wayland/WaylandSurface.h"

#include "Host/Displays/Wayland/WaylandBuffers.h"
#include "Host/Displays/Wayland/WaylandGlobals.h"
#include "Host/Displays/Wayland/WaylandOutput.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>

namespace Lumivera {

namespace {

/// Two pictures of that size just fit into the memory that Wayland can share.
constexpr int kLargestSide = 16383;

constexpr double kFrameSeconds = 0.7;
constexpr double kReopenSeconds = 0.1;
constexpr double kClosingSeconds = 10;
constexpr std::size_t kMostClosings = 3;

std::string callName(const char *what, const void *object) {
    return "lumiveraWayland" + std::string(what) +
           std::to_string(reinterpret_cast<std::uintptr_t>(object));
}

void cancel(const std::string &call) {
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(nullptr, call);
}

void callLater(const std::string &call, std::function<void()> action, double seconds) {
    NSRunLoop::mainRunLoop().performSelector_afterDelay(nullptr, call, std::move(action), seconds);
}

DeviceRect boundsOf(const SharedPicture &memory) {
    return {0, 0, static_cast<int>(memory.width()), static_cast<int>(memory.height())};
}

bool isDivisible(const SharedPicture &memory, int divisor) {
    const auto unsignedDivisor = static_cast<unsigned>(divisor);
    return memory.width() % unsignedDivisor == 0 && memory.height() % unsignedDivisor == 0;
}

} // namespace

WaylandSurface::WaylandSurface(const WaylandGlobals &globals, const WaylandOutput &output,
                               bool clickThrough)
    : _globals(globals), _output(output), _isClickThrough(clickThrough), _outputName(output.name()),
      _openCall(callName("Open", this)), _frameCall(callName("Frame", this)),
      _pictureCall(callName("Picture", this)) {
    open();
}

WaylandSurface::~WaylandSurface() { die(); }

void WaylandSurface::setListener(Listener *listener) {
    _listener = listener;
    wantPictureSoon();
}

/// What is shown stays until it is replaced, so its memory lives on.
void WaylandSurface::setMemory(std::shared_ptr<SharedPicture> memory) {
    if (_isGivenUp) {
        return;
    }
    if (_buffers) {
        _buffers->retire();
        _retired.push_back(std::move(_buffers));
    }
    _wanted.reset();
    _shown.reset();
    if (memory) {
        const int scale = _output.wholeScale();
        _wholeScale = isDivisible(*memory, scale) ? scale : 1;
        _buffers = std::make_unique<WaylandBuffers>(_globals.shm, std::move(memory));
        wantPictureSoon();
    }
}

void WaylandSurface::present(unsigned index, const std::vector<DeviceRect> &rects) {
    if (!_buffers || _wanted != index) {
        return;
    }
    const DeviceRect bounds = boundsOf(_buffers->memory());
    std::vector<DeviceRect> changes;
    for (const DeviceRect &rect : _shown ? rects : std::vector{bounds}) {
        const DeviceRect clipped = rect.intersection(bounds);
        if (!clipped.isEmpty()) {
            changes.push_back(clipped);
        }
    }
    _wanted.reset();
    _shown = index;
    if (usableLayer() && !_mustShowAgain) {
        show(changes);
    } else {
        _mustShowAgain = true;
    }
}

void WaylandSurface::settle(const WaylandCover &cover) {
    _cover = cover;
    if (_layer && _layer->isClosed()) {
        close();
    }
    if (WaylandLayer *const layer = usableLayer()) {
        layer->acknowledge();
        updateGeometry();
        showAgain();
    }
    if (_layer && !_layer->isFrameAwaited()) {
        endWatch();
    }
    updateVisibility();
    std::erase_if(_retired, [](const auto &buffers) { return buffers->isEmpty(); });
    wantPicture();
}

void WaylandSurface::die() {
    endWatch();
    cancel(_openCall);
    cancel(_pictureCall);
    _listener = nullptr;
    _layer.reset();
    _buffers.reset();
    _retired.clear();
    _isGivenUp = true;
}

int WaylandSurface::wholeScale() const {
    return std::max(1, static_cast<int>(std::ceil(_geometry.density)));
}

WaylandLayer *WaylandSurface::usableLayer() const {
    return _layer && _layer->isConfigured() && !_layer->isClosed() ? _layer.get() : nullptr;
}

void WaylandSurface::open() {
    _layer = std::make_unique<WaylandLayer>(_globals, _output.handle(), _isClickThrough, this);
}

/// The compositor often closes the surface right before it takes the output away, and may never
/// release the pictures. So the surface opens again a little later, with the pictures anew.
void WaylandSurface::close() {
    endWatch();
    _layer.reset();
    _retired.clear();
    if (_buffers) {
        _buffers = std::make_unique<WaylandBuffers>(_globals.shm, _buffers->memoryPointer());
    }
    _mustShowAgain = _shown.has_value();
    const Clock::Nanoseconds now = Clock::current().now();
    std::erase_if(_closings, [now](Clock::Nanoseconds closing) {
        return now - closing > Clock::nanoseconds(kClosingSeconds);
    });
    _closings.push_back(now);
    if (_closings.size() >= kMostClosings) {
        _isGivenUp = true;
    } else {
        callLater(
            _openCall, [this] { open(); }, kReopenSeconds);
    }
}

/// A side that the compositor leaves to us is the output's.
void WaylandSurface::updateGeometry() {
    WaylandSize size = _layer->size();
    const WaylandSize whole = _output.size();
    size.width = size.width > 0 ? size.width : whole.width;
    size.height = size.height > 0 ? size.height : whole.height;
    if (size.isEmpty()) {
        return;
    }
    _size = size;
    const SurfaceGeometry geometry = geometryOf(size);
    if (geometry != _geometry) {
        _geometry = geometry;
        if (_listener) {
            _listener->surfaceGeometryChanged();
        }
    }
}

SurfaceGeometry WaylandSurface::geometryOf(WaylandSize size) const {
    const bool canStretch = _layer->canStretch();
    const int whole = _output.wholeScale();
    const int scale =
        canStretch ? _layer->scale().value_or(_output.scale()) : whole * WaylandOutput::kScaleParts;
    const int largest = canStretch ? kLargestSide : kLargestSide / whole * whole;
    const double density = static_cast<double>(scale) / WaylandOutput::kScaleParts;
    const auto pixels = [&](int length) {
        const double side =
            std::round(static_cast<double>(length) * scale / WaylandOutput::kScaleParts);
        return static_cast<unsigned>(std::clamp<double>(side, 1, largest));
    };
    return {pixels(size.width), pixels(size.height), density};
}

void WaylandSurface::updateVisibility() {
    const bool isSuspected = _cover.known == SurfaceVisibility::Visible && _isStalled;
    const SurfaceVisibility visibility = isSuspected ? _cover.suspected : _cover.known;
    if (visibility != _visibility) {
        _visibility = visibility;
        if (_listener) {
            _listener->surfaceVisibilityChanged();
        }
    }
}

void WaylandSurface::showAgain() {
    if (_mustShowAgain && _buffers && _shown) {
        show({boundsOf(_buffers->memory())});
    }
    _mustShowAgain = false;
}

void WaylandSurface::show(const std::vector<DeviceRect> &rects) {
    _layer->show(_buffers->take(*_shown), rects, _size, _wholeScale);
    watchFrame();
}

/// Compositors send no word that a surface cannot be seen; they just ask for no more pictures.
void WaylandSurface::watchFrame() {
    cancel(_frameCall);
    _isWatched = true;
    callLater(
        _frameCall,
        [this] {
            _isWatched = false;
            _isStalled = true;
            updateVisibility();
        },
        kFrameSeconds);
}

void WaylandSurface::endWatch() {
    if (_isWatched) {
        cancel(_frameCall);
    }
    _isWatched = false;
    _isStalled = false;
}

/// The listener hears of it in a call-out of its own.
void WaylandSurface::wantPictureSoon() {
    cancel(_pictureCall);
    if (_buffers) {
        callLater(
            _pictureCall, [this] { wantPicture(); }, 0);
    }
}

/// The first picture of a memory waits for nothing that was shown before it.
void WaylandSurface::wantPicture() {
    const WaylandLayer *const layer = usableLayer();
    if (!layer || !_buffers || !_listener || _wanted || (_shown && layer->isFrameAwaited())) {
        return;
    }
    _wanted = _buffers->lowestFree();
    if (_wanted) {
        _listener->pictureWanted(*_wanted);
    }
}

} // namespace Lumivera
