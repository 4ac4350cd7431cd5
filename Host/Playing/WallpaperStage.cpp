#include "Host/Playing/WallpaperStage.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/UIKit/UIScreen.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr const char *kSettled = "lumiveraSizeSettled";
constexpr const char *kShowAnyway = "lumiveraShowAnyway";
constexpr NSTimeInterval kSettlingTime = 0.25;

// A wallpaper that does not move never says that it has loaded.
constexpr NSTimeInterval kLoadingPatience = 2;

} // namespace

WallpaperStage::WallpaperStage(const WallpaperBundle &bundle, const WallpaperSettings &settings)
    : _bundle(bundle), _settings(settings), _root(UIView::initWithFrame({{0, 0}, settings.size})) {
    const CGRect bounds{{0, 0}, settings.size};
    UIScreen::setMainScreen(makeRetained<UIScreen>(bounds, settings.density));
    _shown = makeView();
}

WallpaperStage::~WallpaperStage() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    runLoop.cancelPreviousPerformRequestsWithTarget(_root.get(), kSettled);
    runLoop.cancelPreviousPerformRequestsWithTarget(_root.get(), kShowAnyway);
    for (const auto &animation : {std::move(_fresh), std::move(_shown)}) {
        if (animation) {
            animation->view().removeFromSuperview();
        }
    }
}

std::unique_ptr<AnimationSwitch> WallpaperStage::makeView() {
    const Retained<DeskTopView> view = _bundle.makeView();
    _settings.applyTo(*view);
    _root->addSubview(view.get());
    _unfinished.emplace_back(view.get());
    auto animation = std::make_unique<AnimationSwitch>(view);
    animation->setRunning(_isRunning);
    return animation;
}

void WallpaperStage::resize(CGSize size, CGFloat density) {
    if (size == _settings.size && density == _settings.density) {
        return;
    }
    _settings.size = size;
    _settings.density = density;
    const auto screen = UIScreen::mainScreen();
    screen->setBounds({{0, 0}, size});
    screen->setScale(density);
    _root->setFrame({{0, 0}, size});
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    runLoop.cancelPreviousPerformRequestsWithTarget(_root.get(), kSettled);
    runLoop.performSelector_afterDelay(
        _root.get(), kSettled, [this] { _isFreshWanted = true; }, kSettlingTime);
}

void WallpaperStage::setRunning(bool running) {
    _isRunning = running;
    _shown->setRunning(running);
    if (_fresh) {
        _fresh->setRunning(running);
    }
}

void WallpaperStage::scrollBy(CGFloat distance) {
    const CGFloat width = _settings.size.width;
    setOffset(std::clamp(_settings.offset + distance, -width, width));
}

void WallpaperStage::finishScrolling() { view().scrollingDidFinish(_settings.offset); }

void WallpaperStage::tap(CGPoint point) {
    const CGFloat scale = view().scale();
    if (scale > 0) {
        view().tapActionAtViewPoint({point.x / scale, point.y / scale});
    }
}

void WallpaperStage::changePetalCount(NSInteger difference) {
    if (const auto *petals = dynamic_cast<LumiveraView *>(&view())) {
        const NSInteger count = static_cast<NSInteger>(petals->sakuraCount()) + difference;
        setPetalCount(static_cast<NSUInteger>(std::max<NSInteger>(count, 1)));
    }
}

/// The view does not tell its level, so it is counted here.
void WallpaperStage::changeSpeedLevel(NSInteger difference) {
    const NSInteger level = _settings.speedLevel.value_or(_bundle.fallingSpeed()) + difference;
    setSpeedLevel(std::max<NSInteger>(level, 0));
}

void WallpaperStage::setPetalCount(NSUInteger count) {
    _settings.petalCount = std::min(count, kMaximumPetals);
    if (auto *petals = dynamic_cast<LumiveraView *>(&view())) {
        petals->setSakuraCount(*_settings.petalCount);
    }
}

void WallpaperStage::setSpeedLevel(NSInteger level) {
    _settings.speedLevel = level;
    view().setSpeedLevel(level);
}

void WallpaperStage::setScaleLevel(NSInteger level) {
    _settings.scaleLevel = level;
    if (auto *petals = dynamic_cast<LumiveraView *>(&view())) {
        petals->setSakuraScaleLevel(static_cast<std::int32_t>(level));
    }
}

void WallpaperStage::setScale(CGFloat scale) {
    _settings.scale = scale;
    view().setScale(scale);
    view().setFrame({{0, 0}, _settings.size});
}

void WallpaperStage::setOffset(CGFloat offset) {
    _settings.offset = offset;
    view().setOffset(offset);
}

void WallpaperStage::callOutBegins() {
    _hasFreshBegun = _hasFreshBegun || (_fresh && _fresh->view().isAnimating());
    if (!_arePicturesChecked && view().isAnimating()) {
        _arePicturesChecked = true;
        _bundle.checkPictures(view());
    }
    finishLoadedViews();
}

void WallpaperStage::callOutEnded() {
    if (_isFreshWanted) {
        _isFreshWanted = false;
        beginFreshView();
    }
    if (_hasFreshBegun) {
        showFreshView();
    }
    finishLoadedViews();
    _shown->update();
    if (_fresh) {
        _fresh->update();
    }
}

/// A view that animates has loaded. It may begin at any moment, on a thread of its own, and be
/// paused soon after.
void WallpaperStage::finishLoadedViews() {
    std::erase_if(_unfinished, [this](const Weak<DeskTopView> &weak) {
        const auto view = weak.lock();
        const bool hasLoaded = view && view->isAnimating();
        if (hasLoaded) {
            _settings.applyToLoaded(*view);
        }
        return !view || hasLoaded;
    });
}

void WallpaperStage::beginFreshView() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    runLoop.cancelPreviousPerformRequestsWithTarget(_root.get(), kShowAnyway);
    if (_fresh) {
        _fresh->view().removeFromSuperview();
    }
    _fresh = makeView();
    _fresh->view().setHidden(true);
    runLoop.performSelector_afterDelay(
        _root.get(), kShowAnyway, [this] { _hasFreshBegun = true; }, kLoadingPatience);
}

void WallpaperStage::showFreshView() {
    _hasFreshBegun = false;
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(_root.get(), kShowAnyway);
    if (!_fresh) {
        return;
    }
    _shown->view().removeFromSuperview();
    _shown = std::move(_fresh);
    _shown->view().setHidden(false);
    _settings.applyTo(_shown->view());
}

} // namespace Lumivera
