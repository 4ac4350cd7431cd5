#include "Host/Playing/WallpaperShow.h"

#include "Platform/QuartzCore/CAAnimation.h"

namespace Lumivera {

namespace {

constexpr NSInteger kPetalStep = 10;

WallpaperSettings settingsFor(const PictureSize &size, WallpaperSettings settings) {
    static_cast<PictureSize &>(settings) = size;
    return settings;
}

} // namespace

WallpaperShow::WallpaperShow(Window &window, const WallpaperBundle &bundle, const Options &options)
    : Show(window, options.seconds),
      _stage(bundle, settingsFor(pictureSize(), options.settings), options.part) {
    if (!options.tracePath.empty()) {
        _trace = std::make_unique<TraceWriter>(options.tracePath, TraceWriter::Mode::Live);
    }
}

void WallpaperShow::callOutBegins() {
    // Only its own animation loop calls a view that animates, so such a call-out is a frame.
    const auto *view = dynamic_cast<const DeskTopView *>(NSRunLoop::mainRunLoop().currentTarget());
    _isFrame = view && view->isAnimating();
    _stage.callOutBegins();
}

/// Traces the frame after it was drawn.
void WallpaperShow::callOutEnded() {
    _stage.callOutEnded();
    Show::callOutEnded();
    if (_isFrame && NSRunLoop::mainRunLoop().currentTarget() == &_stage.view()) {
        trace();
    }
}

void WallpaperShow::trace() {
    if (_trace) {
        _trace->writeFrame(_frame, CACurrentMediaTime(), _stage.view());
    }
    ++_frame;
}

void WallpaperShow::windowResized() {
    drawAgain();
    _stage.resize(window().size(), window().density());
}

void WallpaperShow::keyPressed(WindowKey key) {
    switch (key) {
    case WindowKey::MorePetals:
        _stage.changePetalCount(kPetalStep);
        break;
    case WindowKey::FewerPetals:
        _stage.changePetalCount(-kPetalStep);
        break;
    case WindowKey::Up:
        _stage.changeSpeedLevel(1);
        break;
    case WindowKey::Down:
        _stage.changeSpeedLevel(-1);
        break;
    default:
        Show::keyPressed(key);
        break;
    }
}

} // namespace Lumivera
