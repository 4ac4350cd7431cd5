#include "Host/Desktop/BackgroundPicture.h"

#include "Host/Support/HostError.h"
#include "Platform/Compositor/PixelArithmetic.h"

namespace Lumivera {

namespace {

constexpr NSTimeInterval kSettlingTime = 0.1;

WallpaperValues valuesThatCount(const WallpaperValues &values) {
    WallpaperValues result;
    result.scale = values.scale;
    result.tint = values.tint;
    return result;
}

} // namespace

BackgroundPicture::BackgroundPicture(ViewMaker makeView, Listener &listener)
    : _makeView(std::move(makeView)), _listener(listener), _begin([this] { begin(); }),
      _finish([this] { finish(); }) {}

bool BackgroundPicture::draw(const Subject &subject) {
    const Subject wanted{subject.bundle, subject.geometry, subject.part,
                         valuesThatCount(subject.values)};
    if (_isAskedFor && _subject == wanted) {
        return _picture && !_begin.isPending() && !_view;
    }
    end();
    _isAskedFor = true;
    _subject = wanted;
    _begin.callAfter(kSettlingTime);
    return false;
}

void BackgroundPicture::begin() {
    try {
        makeView();
    } catch (const HostError &error) {
        fail(error.what());
    }
}

/// Nobody would see petals, and one loads faster than many.
void BackgroundPicture::makeView() {
    const auto &[bundle, geometry, part, values] = _subject;
    WallpaperValues given = values;
    if (part == WallpaperPart::Background) {
        given.petals = 1;
    }
    _memory = std::make_shared<SharedBuffers>(geometry.width, geometry.height, 1);
    _view = _makeView({bundle, given, _memory, geometry.density, part}, *this);
    _view->allowDrawing(0);
}

void BackgroundPicture::clear() {
    end();
    expire();
    _picture.reset();
}

void BackgroundPicture::end() {
    _begin.cancel();
    _finish.cancel();
    _view.reset();
    _memory.reset();
}

std::vector<std::uint32_t> BackgroundPicture::beneath(const SharedBuffers &petals,
                                                      unsigned index) const {
    if (!_picture || _picture->width() != petals.width() || _picture->height() != petals.height()) {
        return {};
    }
    const std::uint32_t *const below = _picture->pixels(0);
    const std::uint32_t *above = petals.pixels(index);
    std::vector<std::uint32_t> result(below, below + petals.bufferBytes() / sizeof *below);
    for (std::uint32_t &pixel : result) {
        PixelArithmetic::blend(PixelArithmetic::spread(*above++), pixel);
    }
    return result;
}

/// The view must not be deleted within its own call.
void BackgroundPicture::viewDrew(RemoteView &, unsigned, const std::vector<DeviceRect> &) {
    _finish.callAfter(0);
}

void BackgroundPicture::viewEnded(RemoteView &, const std::string &reason, bool) {
    if (!_finish.isPending()) {
        fail(std::string(reason));
    }
}

void BackgroundPicture::fail(const std::string &reason) {
    end();
    _listener.backgroundFailed(_subject.bundle, reason);
}

void BackgroundPicture::finish() {
    _picture = _memory;
    end();
    _listener.backgroundDrawn();
}

} // namespace Lumivera
