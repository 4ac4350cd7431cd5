#include "Host/Displays/Headless/HeadlessSurface.h"

namespace Lumivera {

HeadlessSurface::HeadlessSurface(std::string outputName, const SurfaceGeometry &geometry)
    : _outputName(std::move(outputName)), _geometry(geometry),
      _askForPicture([this] { askForPicture(); }) {}

void HeadlessSurface::setMemory(std::shared_ptr<SharedPicture> memory) {
    _memory = std::move(memory);
    _presented.reset();
    _askForPicture.callAfter(0);
}

/// With nobody to show it to, the picture is free again at once.
void HeadlessSurface::present(unsigned index, const std::vector<DeviceRect> &) {
    _presented = index;
    ++_presentCount;
    _askForPicture.callAfter(0);
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

void HeadlessSurface::askForPicture() {
    if (_listener) {
        _listener->pictureWanted(0);
    }
}

} // namespace Lumivera
