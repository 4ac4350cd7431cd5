#include "Card.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

/// Shares of the card's side.
constexpr CGFloat kMargin = 0.1;
constexpr CGFloat kCaptionTop = 0.03;
constexpr CGFloat kCaptionHeight = 0.2;
constexpr CGFloat kStageTop = 0.21;

/// Shares of the stage's side.
constexpr CGFloat kFlowerShare = 0.46;
constexpr CGFloat kTileShare = 0.66;

/// From the start of a round to its first step, so that the step begins with what the frame before
/// has set.
constexpr NSTimeInterval kFrameSeconds = 0.025;

/// Sums of times are not exact.
constexpr NSTimeInterval kTolerance = 0.001;

Retained<UIImageView> show(UIView &view, const Retained<UIImage> &image) {
    auto picture = UIImageView::initWithFrame(CGRect{});
    picture->setImage(image);
    view.addSubview(picture.get());
    return picture;
}

Retained<UIView> part(UIView &view) {
    auto part = UIView::initWithFrame(CGRect{});
    view.addSubview(part.get());
    return part;
}

Retained<UIImage> pictureOf(const Exhibit &exhibit) {
    const auto flower = Lumivera::picture(exhibit.flower + ".png");
    return flower && exhibit.picture ? exhibit.picture(flower) : flower;
}

/// The largest size with the picture's proportions that fits into a square; none without a picture.
CGSize sizeWithin(CGFloat side, const Retained<UIImage> &picture) {
    if (!picture) {
        return {0, 0};
    }
    const CGSize size = picture->size();
    const CGFloat longer = std::max(size.width, size.height);
    return {side * size.width / longer, side * size.height / longer};
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

Card::Card(const Exhibit &exhibit)
    : _exhibit(exhibit), _view(UIView::initWithFrame(CGRect{})),
      _panel(show(*_view, ImageCache::sharedInstance()->imageWithName2x("panel.png"))),
      _caption(show(*_view, Lumivera::picture(exhibit.caption + ".png"))), _stage(part(*_view)),
      _tile(show(*_stage, exhibit.hasTile ? Lumivera::picture("tile.png") : nullptr)),
      _flower(show(*_stage, pictureOf(exhibit))) {}

CGPoint Card::place(double x, double y) const {
    return {static_cast<CGFloat>(0.5 + x) * side(), static_cast<CGFloat>(0.5 + y) * side()};
}

void Card::setFrame(const CGRect &frame) {
    const CGFloat card = frame.size.width;
    const CGFloat stage = card * (1 - 2 * kMargin);
    _view->setFrame(frame);
    _panel->setFrame(_view->bounds());
    _caption->setFrame({{0, kCaptionTop * card}, {card, kCaptionHeight * card}});
    _stage->setFrame({{kMargin * card, kStageTop * card}, {stage, stage}});
    _tile->setBounds({{0, 0}, {kTileShare * stage, kTileShare * stage}});
    _tile->setCenter(place(0, 0));
    _flowerSize = sizeWithin(kFlowerShare * stage, _flower->image());
}

void Card::beginAt(NSTimeInterval time) {
    _view->setHidden(time > CACurrentMediaTime());
    _roundStart = time;
    rest();
}

/// Frames may fail for longer than a round. Rounds then go on in step with those of the other
/// cards.
void Card::play(NSTimeInterval now) {
    const NSTimeInterval since = now - _roundStart + kTolerance;
    if (since < 0) {
        return;
    }
    _view->setHidden(false);
    if (since >= _exhibit.period) {
        _roundStart += _exhibit.period * std::floor(since / _exhibit.period);
        rest();
        return;
    }
    const auto &steps = _exhibit.steps;
    if (_nextStep < steps.size() && since >= steps[_nextStep].time + kFrameSeconds) {
        steps[_nextStep++].act(*this);
    }
}

void Card::hold() {
    keepWhatIsShown(*_stage->layer());
    keepWhatIsShown(*_flower->layer());
}

void Card::rest() {
    _nextStep = 0;
    for (CALayer *layer : {_stage->layer(), _flower->layer()}) {
        layer->removeAllAnimations();
        layer->setSublayerTransform(CATransform3DIdentity);
        layer->setOpacity(1);
    }
    const double angle = _exhibit.restAngle * std::numbers::pi / 180;
    _flower->layer()->setTransform(CATransform3DMakeRotation(static_cast<CGFloat>(angle), 0, 0, 1));
    _flower->setBounds({{0, 0}, _flowerSize});
    _flower->setCenter(place(_exhibit.restX, 0));
}
