#include "Host/Displays/Wayland/WaylandSurface.h"

#include "Host/Displays/Wayland/WaylandBuffers.h"
#include "Host/Displays/Wayland/WaylandConnection.h"
#include "Host/Displays/Wayland/WaylandOutput.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Lumivera {

namespace {

/// Two buffers of that width and height just fit into the memory that Wayland can share.
constexpr int kMaxSide = 16383;

/// A compositor that takes longer for a frame callback and a free buffer shows nothing.
constexpr double kMaxFrameSeconds = 0.7;

/// Some compositors send hidden surfaces one or two frame callbacks a second. The surface counts as
/// hidden from the second late one until one comes in time.
constexpr double kLateFrameSeconds = 0.4;
constexpr int kMaxLateFrames = 2;
constexpr double kReopenSeconds = 0.1;

/// The surface gives up at the third closing within ten seconds.
constexpr double kClosingSeconds = 10;
constexpr std::size_t kMaxClosings = 3;

DeviceRect boundsOf(const SharedBuffers &memory) {
    return {0, 0, static_cast<int>(memory.width()), static_cast<int>(memory.height())};
}

bool isDivisible(const SharedBuffers &memory, int divisor) {
    const auto unsignedDivisor = static_cast<unsigned>(divisor);
    return memory.width() % unsignedDivisor == 0 && memory.height() % unsignedDivisor == 0;
}

} // namespace

WaylandSurface::WaylandSurface(const WaylandGlobals &globals, const WaylandOutput &output,
                               WaylandLevel level)
    : _globals(globals), _output(output), _outputName(output.name()), _level(level),
      _reopen([this] { open(); }), _frameOverdue([this] {
          _isStalled = true;
          updateVisibility();
      }),
      _wantBuffer([this] { wantBuffer(); }) {
    open();
}

WaylandSurface::~WaylandSurface() { die(); }

void WaylandSurface::setListener(Listener *listener) {
    _listener = listener;
    if (_listener && std::exchange(_isWithdrawn, false) && !_isGivenUp) {
        open();
    }
    wantBufferSoon();
}

/// A new layer surface is needed then: some compositors never show one again that was hidden.
void WaylandSurface::withdraw() {
    endWatch();
    _reopen.cancel();
    _wantBuffer.cancel();
    _layer.reset();
    _buffers.reset();
    _retired.clear();
    _wanted.reset();
    _shown.reset();
    _mustShowAgain = false;
    _isWithdrawn = true;
}

/// What is shown stays until it is replaced, so the old buffers live until the compositor releases
/// them.
void WaylandSurface::setBuffers(std::shared_ptr<SharedBuffers> memory) {
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
        wantBufferSoon();
    }
}

void WaylandSurface::present(unsigned index, const std::vector<DeviceRect> &damage) {
    if (!_buffers || _wanted != index) {
        return;
    }
    const DeviceRect bounds = boundsOf(_buffers->memory());
    std::vector<DeviceRect> clipped;
    for (const DeviceRect &rect : _shown ? damage : std::vector{bounds}) {
        const DeviceRect part = rect.intersection(bounds);
        if (!part.isEmpty()) {
            clipped.push_back(part);
        }
    }
    _wanted.reset();
    _shown = index;
    if (usableLayer() && !_mustShowAgain) {
        show(clipped);
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
    if (_frameAsked && _layer && !awaitsCompositor()) {
        frameCame();
    }
    updateVisibility();
    std::erase_if(_retired, [](const auto &buffers) { return buffers->isEmpty(); });
    wantBuffer();
}

void WaylandSurface::die() {
    endWatch();
    _reopen.cancel();
    _wantBuffer.cancel();
    _listener = nullptr;
    _layer.reset();
    _buffers.reset();
    _retired.clear();
    _isGivenUp = true;
}

SurfaceLayer WaylandSurface::layer() const {
    return _level == WaylandLevel::Bottom
               ? SurfaceLayer{"bottom", "", "behind all windows, in front of other backgrounds", ""}
               : SurfaceLayer{"background", "", "behind all windows and panels", ""};
}

/// Makes a new layer surface, because compositors of older versions of the protocol move none.
void WaylandSurface::setLevel(WaylandLevel level) {
    if (_level != level) {
        _level = level;
        if (_layer) {
            removeLayer();
            open();
        }
    }
}

std::optional<WaylandSize> WaylandSurface::freeSize() const {
    return _level == WaylandLevel::Bottom ? std::optional(_size) : std::nullopt;
}

int WaylandSurface::wholeScale() const {
    return std::max(1, static_cast<int>(std::ceil(_geometry.density)));
}

WaylandLayer *WaylandSurface::usableLayer() const {
    return _layer && _layer->isConfigured() && !_layer->isClosed() ? _layer.get() : nullptr;
}

void WaylandSurface::open() {
    _layer = std::make_unique<WaylandLayer>(_globals, _output.handle(), _level, this);
}

/// Opens again a little later, because compositors often close the surface right before they remove
/// the output.
void WaylandSurface::close() {
    removeLayer();
    const Clock::Nanoseconds now = Clock::current().now();
    std::erase_if(_closings, [now](Clock::Nanoseconds closing) {
        return now - closing > Clock::nanoseconds(kClosingSeconds);
    });
    _closings.push_back(now);
    if (_closings.size() >= kMaxClosings) {
        _isGivenUp = true;
    } else {
        _reopen.callAfter(kReopenSeconds);
    }
}

/// Makes new wl_buffers of the memory, because the old ones may never be released.
void WaylandSurface::removeLayer() {
    endWatch();
    _layer.reset();
    _retired.clear();
    if (_buffers) {
        _buffers = std::make_unique<WaylandBuffers>(_globals.shm, _buffers->memoryPointer());
    }
    _mustShowAgain = _shown.has_value();
}

/// Takes a side that the compositor leaves to the client from the output.
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
    const int largest = canStretch ? kMaxSide : kMaxSide / whole * whole;
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

/// A compositor does not report that a surface is hidden; it only stops sending frame callbacks, or
/// releases no buffer.
void WaylandSurface::show(const std::vector<DeviceRect> &damage) {
    _layer->show(_buffers->take(*_shown), damage, _size, _wholeScale);
    awaitFrame();
}

void WaylandSurface::awaitFrame() {
    _frameAsked = Clock::current().now();
    if (!_isStalled) {
        _frameOverdue.callAfter(kMaxFrameSeconds);
    }
}

/// While frame callbacks come late, each asks for the next one, and no buffer is wanted.
void WaylandSurface::frameCame() {
    const Clock::Nanoseconds took = Clock::current().now() - *_frameAsked;
    const int late = took < Clock::nanoseconds(kLateFrameSeconds) ? 0 : _lateFrames + 1;
    endWatch();
    _lateFrames = std::min(late, kMaxLateFrames);
    _isStalled = _lateFrames == kMaxLateFrames;
    if (_isStalled) {
        _layer->askForFrame();
        awaitFrame();
    }
}

bool WaylandSurface::awaitsCompositor() const {
    return _layer->isFrameAwaited() || (_buffers && _shown && !_buffers->lowestFree());
}

void WaylandSurface::endWatch() {
    _frameOverdue.cancel();
    _frameAsked.reset();
    _isStalled = false;
    _lateFrames = 0;
}

/// Tells the listener in a call-out of its own.
void WaylandSurface::wantBufferSoon() {
    _wantBuffer.cancel();
    if (_buffers) {
        _wantBuffer.callAfter(0);
    }
}

/// The first picture of new memory does not wait for the frame callback of what was shown before.
void WaylandSurface::wantBuffer() {
    const WaylandLayer *const layer = usableLayer();
    if (!layer || !_buffers || !_listener || _wanted || (_shown && layer->isFrameAwaited())) {
        return;
    }
    _wanted = _buffers->lowestFree();
    if (_wanted) {
        _listener->bufferWanted(*_wanted);
    }
}

} // namespace Lumivera
