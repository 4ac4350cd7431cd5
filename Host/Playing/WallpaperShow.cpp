#include "Host/Playing/WallpaperShow.h"

#include "Host/Wallpapers/BundleCall.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <utility>

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
      _frameEnded(options.frameEnded) {
    nameCall();
}

void WallpaperShow::callOutBegins() {
    // Only its own animation loop calls a view that animates, so such a call-out is a frame.
    const auto *view = dynamic_cast<const DeskTopView *>(NSRunLoop::mainRunLoop().currentTarget());
    _isFrame = view && view->isAnimating();
    _hasBegun = _hasBegun || _isFrame;
    nameCall();
    _stage.callOutBegins();
}

void WallpaperShow::nameCall() {
    // A thread that runs before the first frame loads the resources.
    const bool isLoading = !_hasBegun && NSThread::detachedThreadCount() > 0;
    BundleCall::set(_isFrame    ? BundleCall::Kind::DoAnimating
                    : isLoading ? BundleCall::Kind::InitResource
                                : BundleCall::Kind::None);
}

void WallpaperShow::callOutEnded() {
    const bool wasFrame = std::exchange(_isFrame, false);
    nameCall();
    _stage.callOutEnded();
    Show::callOutEnded();
    if (_frameEnded && wasFrame && NSRunLoop::mainRunLoop().currentTarget() == &_stage.view()) {
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
