#include "Firefly.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

// Lengths in points, times in frames, speeds in points a frame.
constexpr int kShortestTurn = 24;
constexpr int kLongestTurn = 90;
constexpr CGFloat kSteering = 0.045;
constexpr CGFloat kMargin = 14;
constexpr CGFloat kRise = 0.9;

constexpr int kFlare = 7;
constexpr int kFade = 30;
constexpr int kPause = 12;
constexpr CGFloat kDarkest = 0.012;

constexpr CGFloat kPullHome = 0.006;
constexpr CGFloat kPullOfCall = 0.048;
constexpr CGFloat kFastest = 3.2;
constexpr CGFloat kGatheringSpread = 34;
constexpr CGFloat kScatterSpeed = 4.5;
constexpr CGFloat kCalledLight = 0.8;

/// From 0 at `t` = 0 to 1 at 1, level at both ends.
CGFloat eased(CGFloat t) {
    t = std::clamp<CGFloat>(t, 0, 1);
    return t * t * (3 - 2 * t);
}

/// The light of one flash, `frame` frames after it began: it flares up, glows and fades.
CGFloat pulse(int frame, int glow) {
    if (frame < 0 || frame >= kFlare + glow + kFade) {
        return 0;
    }
    if (frame < kFlare) {
        return eased(static_cast<CGFloat>(frame + 1) / kFlare);
    }
    const CGFloat left = static_cast<CGFloat>(kFlare + glow + kFade - frame) / kFade;
    return left >= 1 ? 1 : left * left;
}

CGFloat length(CGPoint vector) { return std::sqrt(vector.x * vector.x + vector.y * vector.y); }

/// The vector, shortened to that length if it is longer.
CGPoint limited(CGPoint vector, CGFloat longest) {
    const CGFloat is = length(vector);
    return is > longest ? CGPoint{vector.x * longest / is, vector.y * longest / is} : vector;
}

} // namespace

Firefly::Firefly(const Depth &depth, Retained<UIImage> glow, Lumivera::Random &random)
    : UIImageView(CGRect()), _depth(depth), _size(random.between(0.75, 1.15)) {
    setImage(std::move(glow));
    chooseRhythm(random);
    _beat = random.below(_period);
    setHidden(true);
}

void Firefly::setArea(CGSize area, CGFloat enlargement, Lumivera::Random &random) {
    if (_area.width > 0 && _area.height > 0) {
        _place.x *= area.width / _area.width;
        _place.y *= area.height / _area.height;
    } else {
        _place.x = random.between(0, area.width);
        _place.y = random.between(_depth.top, _depth.bottom) * area.height;
    }
    _area = area;
    _enlargement = enlargement;
    const auto glow = image();
    const CGSize size = glow ? glow->size() : CGSize();
    setBounds({{0, 0}, {size.width * _size * enlargement, size.height * _size * enlargement}});
    keepInside();
    setCenter(_place);
}

void Firefly::step(CGFloat pace, Lumivera::Random &random) {
    if (--_untilTurn <= 0) {
        chooseCourse(random);
    }
    if (++_beat >= _period) {
        _beat = 0;
        chooseRhythm(random);
    }
    if (isCalled() && --_stay == 0) {
        scatter(_call, random);
    }
    fly(pace);
    shine();
}

void Firefly::chooseCourse(Lumivera::Random &random) {
    _untilTurn = kShortestTurn + random.below(kLongestTurn - kShortestTurn + 1);
    _course = {random.between(-1, 1), random.between(-0.6, 0.6)};
}

void Firefly::chooseRhythm(Lumivera::Random &random) {
    _glow = 4 + random.below(37);
    _isDouble = random.chance(0.3);
    _period = (kFlare + _glow + kFade) * (_isDouble ? 2 : 1) + 60 + random.below(161);
}

void Firefly::fly(CGFloat pace) {
    CGPoint wanted{_course.x * _depth.speed, _course.y * _depth.speed};
    if (isCalled()) {
        wanted = {wanted.x + (_spot.x - _place.x) * kPullOfCall,
                  wanted.y + (_spot.y - _place.y) * kPullOfCall};
        wanted = limited(wanted, kFastest);
    } else {
        wanted.y -= flash() * kRise * _depth.speed;
        const CGFloat top = _depth.top * _area.height;
        const CGFloat bottom = _depth.bottom * _area.height;
        wanted.y += std::max<CGFloat>(top - _place.y, 0) * kPullHome;
        wanted.y += std::min<CGFloat>(bottom - _place.y, 0) * kPullHome;
    }
    _velocity.x += (wanted.x - _velocity.x) * kSteering;
    _velocity.y += (wanted.y - _velocity.y) * kSteering;
    _place.x += _velocity.x * pace;
    _place.y += _velocity.y * pace;
    keepInside();
    setCenter(_place);
}

/// Turns back at the edges of the area.
void Firefly::keepInside() {
    const CGFloat across = std::min(kMargin, _area.width / 2);
    const CGFloat down = std::min(kMargin, _area.height / 2);
    const CGPoint inside{std::clamp(_place.x, across, _area.width - across),
                         std::clamp(_place.y, down, _area.height - down)};
    if (inside.x != _place.x) {
        _course.x = inside.x > _place.x ? 0.7 : -0.7;
    }
    if (inside.y != _place.y) {
        _course.y = inside.y > _place.y ? 0.4 : -0.4;
    }
    _place = inside;
}

void Firefly::scroll(CGFloat distance) {
    const CGFloat moved = _place.x + distance * _depth.follow;
    const CGFloat turns = _area.width > 0 ? std::floor(moved / _area.width) : 0;
    _place.x = moved - turns * _area.width;
    keepInside();
    setCenter(_place);
}

void Firefly::call(CGPoint point, Lumivera::Random &random) {
    _call = point;
    const CGFloat spread = kGatheringSpread * _enlargement;
    _spot = {point.x + random.between(-spread, spread), point.y + random.between(-spread, spread)};
    _stay = 140 + random.below(81);
}

void Firefly::scatter(CGPoint point, Lumivera::Random &random) {
    _stay = 0;
    CGPoint away{_place.x - point.x, _place.y - point.y};
    const CGFloat far = length(away);
    away = far > 0 ? CGPoint{away.x / far, away.y / far} : CGPoint{0, -1};
    const CGFloat speed = kScatterSpeed * random.between(0.6, 1.1);
    _velocity = {away.x * speed, away.y * speed};
    _course = limited({away.x, away.y * CGFloat{0.6}}, 1);
    _untilTurn = kLongestTurn;
}

void Firefly::shine() {
    _excitement += ((isCalled() ? 1 : 0) - _excitement) * kSteering;
    const CGFloat shown = std::max(flash(), _excitement * kCalledLight);
    const bool isDark = shown < kDarkest;
    setHidden(isDark);
    layer()->setOpacity(isDark ? 0 : static_cast<float>(shown));
}

CGFloat Firefly::flash() const {
    const CGFloat first = pulse(_beat, _glow);
    return _isDouble ? std::max(first, pulse(_beat - kFlare - _glow - kPause, _glow)) : first;
}
