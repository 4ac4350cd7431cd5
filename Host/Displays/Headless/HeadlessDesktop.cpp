#include "Host/Displays/Headless/HeadlessDesktop.h"

#include <algorithm>

namespace Lumivera {

HeadlessSurface::HeadlessSurface(std::string outputName, const SurfaceGeometry &geometry)
    : _outputName(std::move(outputName)), _geometry(geometry),
      _wantBuffer([this] { wantBuffer(); }) {}

void HeadlessSurface::setBuffers(std::shared_ptr<SharedBuffers> memory) {
    _memory = std::move(memory);
    _presented.reset();
    _wantBuffer.callAfter(0);
}

/// Nobody reads the buffer, so the surface wants it again at once.
void HeadlessSurface::present(unsigned index, const std::vector<DeviceRect> &) {
    _presented = index;
    ++_presentCount;
    _wantBuffer.callAfter(0);
}

void HeadlessSurface::withdraw() {
    _wantBuffer.cancel();
    _memory.reset();
    _presented.reset();
}

DeviceRect HeadlessSurface::outputArea() const {
    return {_left, _top, _left + static_cast<int>(_geometry.width),
            _top + static_cast<int>(_geometry.height)};
}

SurfaceLayer HeadlessSurface::layer() const {
    SurfaceLayer layer;
    layer.window = _iconsWindow;
    return layer;
}

void HeadlessSurface::setIconsWindow(std::uint32_t window) {
    _iconsWindow = window;
    if (_listener) {
        _listener->surfaceGeometryChanged();
    }
}

void HeadlessSurface::moveTo(int left, int top) {
    _left = left;
    _top = top;
    setGeometry(_geometry);
}

void HeadlessSurface::setGeometry(const SurfaceGeometry &geometry) {
    _geometry = geometry;
    if (_listener) {
        _listener->surfaceGeometryChanged();
    }
}

void HeadlessSurface::setVisibility(SurfaceVisibility visibility) {
    _visibility = visibility;
    if (_listener) {
        _listener->surfaceVisibilityChanged();
    }
}

void HeadlessSurface::wantBuffer() {
    if (_listener) {
        _listener->bufferWanted(0);
    }
}

void HeadlessDesktop::setListener(Listener *listener) {
    _listener = listener;
    for (const auto &surface : _surfaces) {
        if (_listener) {
            _listener->outputAdded(*surface);
        }
    }
}

HeadlessSurface &HeadlessDesktop::addOutput(const std::string &name,
                                            const SurfaceGeometry &geometry) {
    _surfaces.push_back(std::make_unique<HeadlessSurface>(name, geometry));
    HeadlessSurface &surface = *_surfaces.back();
    if (_listener) {
        _listener->outputAdded(surface);
    }
    return surface;
}

void HeadlessDesktop::removeOutput(const std::string &name) {
    const auto found =
        std::find_if(_surfaces.begin(), _surfaces.end(),
                     [&name](const auto &surface) { return surface->outputName() == name; });
    if (found == _surfaces.end()) {
        return;
    }
    if (_listener) {
        _listener->outputRemoved(**found);
    }
    _surfaces.erase(found);
}

HeadlessSurface *HeadlessDesktop::surface(const std::string &name) {
    for (const auto &surface : _surfaces) {
        if (surface->outputName() == name) {
            return surface.get();
        }
    }
    return nullptr;
}

void HeadlessDesktop::lose(const std::string &reason) {
    if (_listener) {
        _listener->desktopLost(reason);
    }
}

} // namespace Lumivera
