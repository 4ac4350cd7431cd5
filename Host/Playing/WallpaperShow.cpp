#include "Host/Playing/WallpaperShow.h"

#include "Platform/QuartzCore/CAAnimation.h"

namespace Lumivera {

namespace {

WallpaperSettings settingsFor(const PictureSize &size, WallpaperSettings settings) {
    static_cast<PictureSize &>(settings) = size;
    return settings;
}

} // namespace

WallpaperShow::WallpaperShow(Window &window, const WallpaperBundle &bundle, const Options &options)
    : TreeShow(window, options.seconds),
      _stage(bundle, settingsFor(pictureSize(), options.settings), options.part),
      _frameEnded(options.frameEnded) {}

void WallpaperShow::callOutBegins() {
    // Only its own animation loop calls a view that animates, so such a call-out is a frame.
    const auto *view = dynamic_cast<const DeskTopView *>(NSRunLoop::mainRunLoop().currentTarget());
    _isFrame = view && view->isAnimating();
    _stage.callOutBegins();
}

void WallpaperShow::callOutEnded() {
    _stage.callOutEnded();
    Show::callOutEnded();
    if (_frameEnded && _isFrame && NSRunLoop::mainRunLoop().currentTarget() == &_stage.view()) {
        _frameEnded(CACurrentMediaTime(), _stage.view());
    }
}

void WallpaperShow::windowResized() {
    drawAgain();
    _stage.resize(window().size(), window().density());
}

void WallpaperShow::keyPressed(WindowKey key) {
    if (const auto change = _stage.playedValues().changeBy(key)) {
        _stage.set(*change);
    } else {
        Show::keyPressed(key);
    }
}

} // namespace Lumivera
