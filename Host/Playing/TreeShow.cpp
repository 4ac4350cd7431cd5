#include "Host/Playing/TreeShow.h"

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kFrameTime = 1.0 / 60;

} // namespace

TreeShow::TreeShow(Window &window, std::optional<double> seconds)
    : Show(window, seconds), _nextFrame([this] { drawAgain(); }) {}

const std::vector<DeviceRect> &TreeShow::draw(const CompositorTarget &target) {
    const BundleCall call(BundleCall::Kind::Drawing);
    return _compositor.composite(*root().layer(), target, window().density());
}

std::string TreeShow::takeScreenshot() {
    OffscreenPicture picture(pictureSize());
    return writeScreenshot(picture.composite(*root().layer()), picture.width(), picture.height());
}

void TreeShow::present() {
    const NSTimeInterval start = CACurrentMediaTime();
    Show::present();
    if (_compositor.isAnimationInProgress() && !_nextFrame.isPending()) {
        _nextFrame.callAfter(std::max(0.0, start + kFrameTime - CACurrentMediaTime()));
    }
}

} // namespace Lumivera
