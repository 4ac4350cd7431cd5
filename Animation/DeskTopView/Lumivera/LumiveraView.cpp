#include "Animation/DeskTopView/Lumivera/LumiveraView.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/Common/ImageSet.h"
#include "Animation/Common/LWUICommonDefine.h"
#include "Platform/Foundation/NSTypes.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>

namespace {

constexpr NSUInteger kLevels = 3;
constexpr NSUInteger kStartCount = 30;
constexpr std::int32_t kDefaultCount = 120;
constexpr std::int32_t kMaxCount = 300;
constexpr NSUInteger kFillsSuperview =
    UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;

constexpr std::int32_t kEntersFromTop = 0;
constexpr std::int32_t kScattered = 1;
constexpr std::int32_t kTapGesture = 2;

constexpr double kRecycleSeconds = 5.0;
constexpr CGFloat kTapRadius = 50.0;
constexpr CGFloat kVisibleOnEntry = 0.1;

constexpr const char *kBackgroundName = "lumivera_background_.png";

/// A name that occurs more often is chosen more often.
std::vector<std::string> petalNames() {
    return {"lumivera_flower1.png", "lumivera_flower2.png", "lumivera_flower3.png",
            "lumivera_petal1.png",  "lumivera_petal3.png",  "lumivera_petal4.png",
            "lumivera_petal1.png",  "lumivera_petal2.png",  "lumivera_petal3.png",
            "lumivera_petal1.png",  "lumivera_petal2.png",  "lumivera_petal3.png",
            "lumivera_petal4.png"};
}

double sizeFactor(NSUInteger layer) { return (2.0 - static_cast<double>(layer)) * -0.2 + 1.0; }

/// The integer under a key; 0 when it is missing or has no integer value.
std::int32_t integerForKey(const NSDictionary &dictionary, std::string_view key) {
    const PropertyList *value = dictionary.objectForKey(key);
    return value ? value->integerValue().value_or(0) : 0;
}

std::int32_t petalCountFrom(std::int32_t wanted) {
    return wanted == 0 ? kDefaultCount : std::clamp(wanted, 1, kMaxCount);
}

/// The remainder of one random draw by the truncated limit; 0 when that is 0.
CGFloat drawBelow(CGFloat limit) {
    const std::int32_t draw = std::rand();
    const std::int32_t whole = truncated(limit);
    return whole == 0 ? 0 : draw % whole;
}

} // namespace

Retained<LumiveraView> LumiveraView::initWithFrame(const CGRect &frame) {
    return makeRetained<LumiveraView>(frame);
}

LumiveraView::LumiveraView(const CGRect &frame) : DeskTopView(frame) {
    setUserInteractionEnabled(true);
    setSakuraCount(kStartCount);
}

LumiveraView::~LumiveraView() {
    setSakuraImageNames(nullptr);
    setSakuraMaskColor(nullptr);
    setDescriptionFile(nullptr);
    _sakuraLevleViews.set(nullptr);
    _sakuraImageCache = nullptr;
    ImageCache::sharedInstance()->clearMemorryCache();
    ImageCache::releaseInstance();
}

void LumiveraView::readDescriptionFileWithBundle(NSBundle *bundle) {
    setDescriptionFile(bundle ? NSDictionary::dictionaryWithContentsOfFile(bundle->resourcePath() +
                                                                           "/description.plist")
                              : nullptr);
    if (!_descriptionFile) {
        return;
    }
    const std::int32_t count = petalCountFrom(integerForKey(*_descriptionFile, "sakura Count"));
    setSakuraCount(static_cast<NSUInteger>(count));
    setSpeedLevel(std::max(integerForKey(*_descriptionFile, "falling Speed"), 0));
}

void LumiveraView::initResource() {
    setBackgroundImage(ImageCache::sharedInstance()->imageWithName(kBackgroundName));
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    setSakuraImageNames(makeRetained<NSArray<std::string>>(petalNames()));
    _sakuraScaleLevel.set(1);
    // Cleared without a release: the host may still use a colour that it set before.
    _sakuraMaskColor.set(nullptr);
    const auto levels = makeRetained<NSMutableArray<UIView>>(kLevels);
    _sakuraLevleViews.set(levels);
    while (levels->count() < kLevels) {
        // Locked, because the main thread may resize this view before the layer is its subview.
        const TreeAccess access;
        const NSUInteger index = levels->count();
        const auto level = UIView::initWithFrame(bounds());
        level->setAutoresizingMask(kFillsSuperview);
        level->layer()->setOpacity(static_cast<float>(static_cast<double>(index) * 0.15 + 0.45));
        addSubview(level.get());
        levels->addObject(level);
    }
    _sakurasPositionIndex = 0;
    startAnimating();
}

void LumiveraView::doAnimating() {
    adjustSakuras();
    const CGRect area = bgView()->frame();
    forEachSakura([this, &area](Sakura *petal) {
        petal->falling();
        if (isSakura_outOfBounds(petal, area) && timeCome()) {
            petal->resetPropertyWithImage_scaleLevel_fallingSpeed_fallingOffset(
                drawImage(), sakuraScaleLevel(), _sakuraFallingSpeedLevel, offset());
        }
    });
}

void LumiveraView::tapActionAtViewPoint(CGPoint point) {
    if (!CGRectContainsPoint(tapClipRect(), point)) {
        return;
    }
    forEachSakura([this, point](Sakura *petal) {
        if (distanceForTwoPoints(point, petal->center()) < scale() * kTapRadius) {
            petal->doResponseWithTapPoint_speed(point, scale() + scale());
        }
    });
}

void LumiveraView::gestureAction_atPoint(std::int32_t code, CGPoint point) {
    if (code == kTapGesture) {
        tapActionAtViewPoint(point);
    }
}

void LumiveraView::setSpeedLevel(NSInteger level) {
    forEachSakura([level](Sakura *petal) { petal->resetFallingSpeedLevel(level); });
    _sakuraFallingSpeedLevel = level;
}

void LumiveraView::accelerometer_didAccelerate(const void *, const void *) {}

void LumiveraView::setBgColor(const UIColor *color) {
    bgView()->setImage(ImageSet::colorizeImage_withColor(bgView()->image(), color));
}

void LumiveraView::adjustSakuras() {
    if (_sakuraTotal == sakuraCount()) {
        return;
    }
    const bool isGrowing = _sakuraTotal < sakuraCount();
    const NSUInteger total = isGrowing ? sakuraCount() - _sakuraTotal : sakuraCount();
    std::array<NSUInteger, kLevels> counts{};
    calculateLevelCount_withTotal_withLevels(counts.data(), total, kLevels);
    const auto levels = _sakuraLevleViews.get();
    for (NSUInteger i = 0; levels && i < levels->count(); ++i) {
        UIView *level = levels->objectAtIndex(i);
        for (NSUInteger made = 0; isGrowing && made < counts[i]; ++made) {
            generateSakuraWithType_withScale_inView(kScattered, sizeFactor(i) * scale(), level);
        }
        while (!isGrowing && level->subviewCount() > counts[i]) {
            level->subviewAtIndex(level->subviewCount() - 1)->removeFromSuperview();
        }
    }
    _sakuraTotal = sakuraCount();
}

bool LumiveraView::isSakura_outOfBounds(const Sakura *petal, const CGRect &rect) const {
    const CGPoint center = petal->center();
    const CGSize size = petal->frame().size;
    return center.x < -size.width || center.x > rect.size.width + size.width ||
           center.y < -size.height || center.y > rect.size.height + size.height;
}

bool LumiveraView::timeCome() {
    return timeComeWithInterval(scale() * kRecycleSeconds / static_cast<double>(sakuraCount()));
}

void LumiveraView::calculateLevelCount_withTotal_withLevels(NSUInteger *counts, NSUInteger total,
                                                            NSUInteger levels) {
    if (levels == 0) {
        return;
    }
    const NSUInteger base = total <= levels ? 1 : total / levels;
    const NSUInteger step = total <= levels ? 0 : base / levels;
    NSUInteger value = base + step * (levels / 2);
    for (NSUInteger k = 0; k < levels; ++k) {
        counts[k] = value;
        value -= step;
    }
}

void LumiveraView::generateSakuraWithType_withScale_inView(std::int32_t type, CGFloat scale,
                                                           UIView *layer) {
    const auto petal =
        Sakura::initWithImage_scale_speed(drawImage(), scale, _sakuraFallingSpeedLevel);
    petal->setWidth(wholeNumber(frame().size.width));
    layer->addSubview(petal.get());
    const CGSize size = petal->frame().size;
    const CGSize area = layer->frame().size;
    if (type == kScattered) {
        const CGFloat x = size.width / 2 + drawBelow(area.width - size.width / 2);
        const CGFloat y = size.height / 2 + drawBelow(area.height - size.height / 2);
        petal->setCenter({x, y});
    } else if (type == kEntersFromTop) {
        petal->setCenter({drawBelow(area.width), -size.height / 2 + kVisibleOnEntry});
    }
}

void LumiveraView::setSakuraImageNames(Retained<NSArray<std::string>> names) {
    if (_sakuraImageNames.get() == names) {
        return;
    }
    _sakuraImageNames.set(names);
    if (!names) {
        return;
    }
    if (_sakuraImageCache) {
        _sakuraImageCache->removeAllObjects();
    }
    forEachSakura([this](Sakura *petal) { petal->setImage(drawImage()); });
}

void LumiveraView::setSakuraMaskColor(Retained<UIColor> color) {
    const auto previous = Retained<UIColor>::adopt(_sakuraMaskColor.get());
    _sakuraMaskColor.set(color.leak());
}

/// Calls `action` for every petal, back layer first and oldest first. Counts layers and petals
/// again at every step, because the action may change them.
template <class Action> void LumiveraView::forEachSakura(Action action) {
    const auto levels = _sakuraLevleViews.get();
    for (NSUInteger i = 0; levels && i < levels->count(); ++i) {
        UIView *level = levels->objectAtIndex(i);
        for (NSUInteger j = 0; j < level->subviewCount(); ++j) {
            action(static_cast<Sakura *>(level->subviewAtIndex(j)));
        }
    }
}

/// A picture whose name one random draw chooses; null when there is no such picture or no name.
Retained<UIImage> LumiveraView::drawImage() const {
    const auto draw = static_cast<NSUInteger>(std::rand());
    const NSArray<std::string> *names = _sakuraImageNames.peek().get();
    if (!names || names->count() == 0) {
        return nullptr;
    }
    return ImageCache::sharedInstance()->imageWithName(names->objectAtIndex(draw % names->count()));
}
