#include "FirefliesView.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

constexpr NSUInteger kDefaultCount = 52;
constexpr NSInteger kDefaultLevel = 2;
constexpr NSInteger kHighestLevel = 12;
constexpr CGFloat kPacePerLevel = 0.5;
constexpr std::int32_t kTapGesture = 2;
constexpr NSUInteger kStalks = 7;

/// A call is heard within this part of the area's shorter side, and at least so many points.
constexpr CGFloat kHearing = 0.42;
constexpr CGFloat kLeastHearing = 140;
constexpr CGFloat kTapRadius = 60;

/// The pictures are drawn for a phone of this size in points; larger screens enlarge them.
constexpr CGFloat kPhoneArea = 360.0 * 640.0;
constexpr CGFloat kMostEnlargement = 1.7;

constexpr NSUInteger kFillsSuperview =
    UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;

constexpr std::array<Depth, FirefliesView::kDepths> kDepthsOfMeadow = {{
    {"firefly_far.png", 0.58, 0.70, 0.5, 0.2},
    {"firefly_middle.png", 0.52, 0.86, 0.9, 0.45},
    {"firefly_near.png", 0.36, 0.95, 1.5, 0.8},
}};

/// The depths of fireflies by their age, so that every number of them is mixed alike.
constexpr std::array<NSUInteger, 9> kDepthByAge = {0, 1, 2, 0, 1, 0, 1, 0, 2};

std::int32_t described(const std::string &key) {
    const auto bundle = ImageCache::sharedInstance()->resBundle();
    const auto value = DataTool::readDeskTopDescriptionWithKey_fromBundleFile(
        key, bundle ? bundle->bundlePath() : std::string());
    return value ? value->integerValue().value_or(0) : 0;
}

} // namespace

FirefliesView::FirefliesView(const CGRect &frame) : DeskTopView(frame), _count(kDefaultCount) {
    setUserInteractionEnabled(true);
    readDescription();
}

FirefliesView::~FirefliesView() { ImageCache::releaseInstance(); }

void FirefliesView::readDescription() {
    const std::int32_t count = described("sakura Count");
    if (count != 0) {
        _count = std::clamp<NSUInteger>(static_cast<NSUInteger>(std::max(count, 1)), 1, kMaxCount);
    }
    setSpeedLevel(std::max(described("falling Speed"), 0));
}

void FirefliesView::initResource() {
    ImageCache &pictures = *ImageCache::sharedInstance();
    setBackgroundImage(pictures.imageWithName("background.png"));
    for (NSUInteger i = 0; i < kDepths; ++i) {
        _glows[i] = pictures.imageWithName(kDepthsOfMeadow[i].picture);
    }
    _grass = {pictures.imageWithName("stalk1.png"), pictures.imageWithName("stalk2.png")};
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (auto &layer : _layers) {
        // Locked, because the main thread may resize this view before the layer is its subview.
        const TreeAccess access;
        layer = UIView::initWithFrame(bounds());
        layer->setAutoresizingMask(kFillsSuperview);
        addSubview(layer.get());
    }
    _isLoaded.store(true, std::memory_order_release);
    startAnimating();
}

void FirefliesView::doAnimating() {
    if (!_isLoaded.load(std::memory_order_acquire)) {
        return;
    }
    if (_stalks.empty()) {
        begin();
    }
    followSize();
    followOffset();
    adjustCount();
    const CGFloat speed = pace();
    for (const auto &firefly : _fireflies) {
        firefly->step(speed, _random);
    }
    for (const auto &stalk : _stalks) {
        stalk->step();
    }
}

/// In the first frame, because hosts seed rand() just before it.
void FirefliesView::begin() {
    _scrolled = offset();
    _fireflies.reserve(kMaxCount);
    for (NSUInteger i = 0; i < kStalks; ++i) {
        const CGFloat x = (static_cast<CGFloat>(i) + _random.between(0.1, 0.9)) / kStalks;
        _stalks.push_back(makeRetained<Stalk>(_grass[i % _grass.size()], x, _random));
        _layers.back()->addSubview(_stalks.back().get());
    }
}

void FirefliesView::followSize() {
    const CGSize area = bounds().size;
    if (area == _area) {
        return;
    }
    _area = area;
    _enlargement =
        std::clamp<CGFloat>(std::sqrt(area.width * area.height / kPhoneArea), 1, kMostEnlargement);
    for (const auto &firefly : _fireflies) {
        firefly->setArea(area, _enlargement, _random);
    }
    for (const auto &stalk : _stalks) {
        stalk->setArea(area);
    }
}

void FirefliesView::followOffset() {
    const CGFloat distance = offset() - _scrolled;
    if (distance == 0 || !std::isfinite(distance)) {
        return;
    }
    _scrolled = offset();
    for (const auto &firefly : _fireflies) {
        firefly->scroll(distance);
    }
}

void FirefliesView::adjustCount() {
    const NSUInteger wanted = std::min(_count, kMaxCount);
    while (_fireflies.size() > wanted) {
        _fireflies.back()->removeFromSuperview();
        _fireflies.pop_back();
    }
    while (_fireflies.size() < wanted) {
        const NSUInteger depth = kDepthByAge[_fireflies.size() % kDepthByAge.size()];
        _fireflies.push_back(makeRetained<Firefly>(kDepthsOfMeadow[depth], _glows[depth], _random));
        _fireflies.back()->setArea(_area, _enlargement, _random);
        _layers[depth]->addSubview(_fireflies.back().get());
    }
}

/// As with petals, level 0 is as fast as level 2.
CGFloat FirefliesView::pace() const {
    const NSInteger level = speedLevel() > 0 ? speedLevel() : kDefaultLevel;
    return kPacePerLevel * static_cast<CGFloat>(std::min(level, kHighestLevel));
}

void FirefliesView::tapActionAtViewPoint(CGPoint point) {
    if (!CGRectContainsPoint(tapClipRect(), point)) {
        return;
    }
    const auto isGatheredHere = [point](const Retained<Firefly> &firefly) {
        return firefly->isCalled() && distanceForTwoPoints(firefly->calledTo(), point) < kTapRadius;
    };
    const bool scatters = std::any_of(_fireflies.begin(), _fireflies.end(), isGatheredHere);
    const CGFloat hearing = std::max(kLeastHearing, std::min(_area.width, _area.height) * kHearing);
    for (const auto &firefly : _fireflies) {
        if (scatters && isGatheredHere(firefly)) {
            firefly->scatter(point, _random);
        } else if (!scatters && distanceForTwoPoints(firefly->center(), point) < hearing) {
            firefly->call(point, _random);
        }
    }
}

void FirefliesView::gestureAction_atPoint(std::int32_t code, CGPoint point) {
    if (code == kTapGesture) {
        tapActionAtViewPoint(point);
    }
}
