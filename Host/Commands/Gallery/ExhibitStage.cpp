#include "Host/Commands/Gallery/ExhibitStage.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr const char *kStep = "lumiveraExhibitStep";
constexpr CGFloat kFlowerShare = 0.46;
constexpr CGFloat kTileShare = 0.66;
constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180;

/// The largest size with the same proportions that fits into a square.
CGSize sizeWithin(CGFloat side, CGSize size) {
    const CGFloat longer = std::max(size.width, size.height);
    return {side * size.width / longer, side * size.height / longer};
}

Retained<UIImageView> pictureIn(UIView &view, const Retained<UIImage> &image, CGSize size) {
    const CGRect bounds = view.bounds();
    auto picture = UIImageView::initWithFrame(
        {{CGRectGetMidX(bounds) - size.width / 2, CGRectGetMidY(bounds) - size.height / 2}, size});
    picture->setImage(image);
    view.addSubview(picture.get());
    return picture;
}

/// Sets the layer to the values that it shows now.
void keepWhatIsShown(CALayer &layer) {
    const LayerValues shown = layer.presentationAt(CACurrentMediaTime());
    layer.removeAllAnimations();
    layer.setPosition(shown.position);
    layer.setBounds(shown.bounds);
    layer.setOpacity(shown.opacity);
    layer.setTransform(shown.transform);
    layer.setSublayerTransform(shown.sublayerTransform);
}

} // namespace

ExhibitStage::ExhibitStage(const Exhibit &exhibit, const Retained<UIImage> &flower,
                           const Retained<UIImage> &tile, const CGRect &frame)
    : _exhibit(exhibit), _side(frame.size.width), _view(UIView::initWithFrame(frame)),
      _tile(exhibit.hasTile ? pictureIn(*_view, tile, sizeWithin(_side * kTileShare, {1, 1}))
                            : nullptr),
      _flower(pictureIn(*_view, flower, sizeWithin(_side * kFlowerShare, flower->size()))),
      _flowerSize(_flower->bounds().size) {
    rest();
}

ExhibitStage::~ExhibitStage() { forgetSteps(); }

CGPoint ExhibitStage::place(double x, double y) const {
    const CGRect bounds = _view->bounds();
    return {CGRectGetMidX(bounds) + static_cast<CGFloat>(x) * _side,
            CGRectGetMidY(bounds) + static_cast<CGFloat>(y) * _side};
}

/// Each step runs in a call-out of its own, so that it sees the changes of the step before.
void ExhibitStage::play() {
    forgetSteps();
    rest();
    for (const Exhibit::Step &step : _exhibit.steps) {
        later(step.time, [this, &step] { step.act(*this); });
    }
    later(_exhibit.period, [this] { play(); });
}

void ExhibitStage::hold() {
    forgetSteps();
    keepWhatIsShown(*_flower->layer());
    keepWhatIsShown(*_view->layer());
}

void ExhibitStage::holdAfter(NSTimeInterval delay) {
    later(delay, [this] { hold(); });
}

void ExhibitStage::rest() {
    for (CALayer *layer : {_view->layer(), _flower->layer()}) {
        layer->removeAllAnimations();
        layer->setSublayerTransform(CATransform3DIdentity);
        layer->setOpacity(1);
    }
    const auto angle = static_cast<CGFloat>(_exhibit.restAngle * kRadiansPerDegree);
    _flower->layer()->setTransform(CATransform3DMakeRotation(angle, 0, 0, 1));
    _flower->setBounds({{0, 0}, _flowerSize});
    _flower->setCenter(place(_exhibit.restX, 0));
}

void ExhibitStage::later(NSTimeInterval delay, const std::function<void()> &action) {
    NSRunLoop::mainRunLoop().performSelector_afterDelay(_view.get(), kStep, action, delay);
}

void ExhibitStage::forgetSteps() {
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(_view.get(), kStep);
}

} // namespace Lumivera
