#include "Stalk.h"

#include <cmath>
#include <utility>

namespace {

/// Of the view's height, for a stalk of ordinary size.
constexpr CGFloat kHeight = 0.21;
constexpr CGFloat kHiddenPart = 0.06;
constexpr CGFloat kSway = 0.045;
/// It moves so slowly that every fourth frame is enough.
constexpr int kFramesAStep = 4;

/// As a sine, but of sums and products alone, which are the same on every processor.
CGFloat wave(int frame, int period) {
    const CGFloat t = static_cast<CGFloat>(frame % period) / static_cast<CGFloat>(period);
    const CGFloat half = t < 0.5 ? t * 2 : 2 - t * 2;
    return 2 * half * half * (3 - 2 * half) - 1;
}

} // namespace

Stalk::Stalk(Retained<UIImage> picture, CGFloat x, Lumivera::Random &random)
    : UIImageView(CGRect()), _x(x), _height(random.between(0.7, 1.25)),
      _lean(random.between(-0.14, 0.14)), _period(150 + random.below(111)),
      _frame(random.below(_period)) {
    setImage(std::move(picture));
    layer()->setAnchorPoint({0.5, 1});
}

void Stalk::setArea(CGSize area) {
    const auto picture = image();
    const CGSize size = picture ? picture->size() : CGSize();
    if (size.height <= 0) {
        return;
    }
    const CGFloat height = area.height * kHeight * _height;
    setBounds({{0, 0}, {size.width * height / size.height, height}});
    setCenter({_x * area.width, area.height + height * kHiddenPart});
}

void Stalk::step() {
    if (++_frame % kFramesAStep == 0) {
        const CGFloat sway = wave(_frame, _period) + wave(_frame, _period * 3) * CGFloat{0.6};
        layer()->setTransform(CATransform3DMakeRotation(_lean + sway * kSway, 0, 0, 1));
    }
}
