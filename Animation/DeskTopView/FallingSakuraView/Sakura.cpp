#include "Animation/DeskTopView/FallingSakuraView/Sakura.h"

#include "Animation/Common/LWUICommonDefine.h"
#include "Platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace {

constexpr double kSpeedUnitsPerLevel = 12;
constexpr double kDefaultSpeedUnits = 24;
constexpr double kPointsPerUnit = 0.015;
constexpr double kDegreesPerUnit = 0.025;
constexpr double kRadiansPerDegree = std::numbers::pi / 180;
constexpr double kSwayLimit = 0.8;
constexpr float kPushDecay = 0.02f;
constexpr CGFloat kVisibleWhenRecycled = 0.1;
constexpr int kPetalsPerSwayingOne = 5;

NSUInteger screenWidth() {
    const auto screen = UIScreen::mainScreen();
    return screen ? wholeNumber(screen->bounds().size.width) : 0;
}

/// The push that is left after one step. A push no larger than the decay does not change.
float decayed(float push, float decay) {
    if (std::fabs(push) > std::fabs(decay)) {
        return push > 0 ? push - decay : push + decay;
    }
    return push;
}

} // namespace

Retained<Sakura> Sakura::initWithFrame(const CGRect &frame) { return makeRetained<Sakura>(frame); }

Retained<Sakura> Sakura::initWithImage_scale_speed(Retained<UIImage> image, CGFloat scale,
                                                   NSInteger speedLevel) {
    return makeRetained<Sakura>(std::move(image), scale, speedLevel);
}

Sakura::Sakura(const CGRect &frame) : Sakura(frame, 1.0, 0.015) {
    resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(nullptr, 1, 2, 0);
}

Sakura::Sakura(Retained<UIImage> image, CGFloat scale, NSInteger speedLevel)
    : Sakura(CGRect(), scale, 0.01) {
    resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(std::move(image), 1, speedLevel,
                                                                 0);
}

Sakura::Sakura(const CGRect &frame, CGFloat scale, CGFloat swayRate)
    : UIImageView(frame), _originPosition(center()), _scale(scale), _width(screenWidth()),
      _xOffset(swayRate) {}

Sakura::~Sakura() { setMaskColor(nullptr); }

void Sakura::resetFallingSpeedLevel(NSInteger level) {
    // As a double, because 12 times a huge level would overflow an integer.
    double units = kSpeedUnitsPerLevel * static_cast<double>(level);
    if (units == 0) {
        units = kDefaultSpeedUnits;
    }
    const int draw = std::rand();
    const double drift = std::fmod(draw, units);
    const double fall = std::fmod(draw, 2 * units);
    const bool isEven = draw % 2 == 0;
    const double sign = isEven ? 1 : -1;
    _originSpeed.x = static_cast<float>((drift + units) * kPointsPerUnit * sign);
    _originSpeed.y = static_cast<float>((fall + 3 * units) * kPointsPerUnit);
    _angle = 0;
    _angleStep = (fall + units) * kDegreesPerUnit * kRadiansPerDegree;
    _isXOffset = std::rand() % kPetalsPerSwayingOne == 0;
    if (isEven) {
        _angleStep = -_angleStep;
    }
}

void Sakura::resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(Retained<UIImage> image,
                                                                          std::int32_t scaleLevel,
                                                                          NSInteger speedLevel,
                                                                          CGFloat offset) {
    const auto draw = static_cast<NSUInteger>(std::rand());
    layer()->setTransform(CATransform3DIdentity);
    _angle = 0;
    setImage(std::move(image));
    const CGSize size = imageSize();
    const CGFloat width = scaleLevel * size.width * _scale;
    const CGFloat height = scaleLevel * size.height * _scale;
    const CGFloat start = static_cast<CGFloat>(draw % std::max<NSUInteger>(_width, 1));
    setFrame(CGRectMake(start + offset, kVisibleWhenRecycled - height, width, height));
    resetFallingSpeedLevel(speedLevel);
}

void Sakura::falling() {
    _changedSpeed.x = decayed(_changedSpeed.x, _deacceleration.x);
    _changedSpeed.y = decayed(_changedSpeed.y, _deacceleration.y);
    if (_isXOffset) {
        _originSpeed.x = static_cast<float>(_originSpeed.x - _xOffset);
        if (std::fabs(static_cast<double>(_originSpeed.x)) > kSwayLimit) {
            _xOffset = -_xOffset;
        }
    }
    const CGPoint from = center();
    setCenter(
        {from.x + _changedSpeed.x + _originSpeed.x, from.y + _changedSpeed.y + _originSpeed.y});
    _angle += _angleStep;
    layer()->setTransform(CATransform3DMakeRotation(_angle, 0, 0, 1));
}

void Sakura::doResponseWithTapPoint_speed(CGPoint point, CGFloat speed) {
    CppVector2D direction{static_cast<float>(center().x - point.x),
                          static_cast<float>(center().y - point.y)};
    const double squares = static_cast<double>(direction.x) * direction.x +
                           static_cast<double>(direction.y) * direction.y;
    const float length = std::sqrt(static_cast<float>(squares));
    if (length > 0) {
        direction.x /= length;
        direction.y /= length;
    }
    _changedSpeed.x = static_cast<float>(speed * direction.x);
    _changedSpeed.y = static_cast<float>(speed * direction.y);
    _deacceleration = {kPushDecay, kPushDecay};
}

void Sakura::setScale(CGFloat scale) {
    _scale = scale;
    layer()->setTransform(CATransform3DIdentity);
    const CGSize size = imageSize();
    setFrame({frame().origin, {size.width * scale, size.height * scale}});
}

CGSize Sakura::imageSize() const {
    const auto shown = image();
    return shown ? shown->size() : CGSize();
}
