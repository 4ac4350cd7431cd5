#include "Host/Playing/WallpaperStage.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Platform/UIKit/UIScreen.h"

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 0.005;
constexpr NSTimeInterval kSettlingTime = 0.25;

/// After this time a new view is shown although it does not animate: a still wallpaper never does.
constexpr NSTimeInterval kLoadingPatience = 2;

} // namespace

AnimationSwitch::AnimationSwitch(Retained<DeskTopView> view)
    : _view(std::move(view)), _updateAgain([this] { update(); }) {}

void AnimationSwitch::setRunning(bool running) {
    _isWanted = running;
    update();
}

void AnimationSwitch::update() {
    const bool isAnimating = _view->isAnimating();
    _hasBegun = _hasBegun || isAnimating;
    if (!_hasBegun || isAnimating == _isWanted) {
        return;
    }
    if (!_isWanted) {
        const BundleCall call(BundleCall::Kind::Pause);
        _view->pauseAnimating();
    } else if (_view->operationQueue().operationCount() == 0) {
        _updateAgain.cancel();
        const BundleCall call(BundleCall::Kind::Resume);
        _view->resumeAnimating();
    } else if (!_updateAgain.isPending()) {
        _updateAgain.callAfter(kBetweenChecks);
    }
}

WallpaperStage::WallpaperStage(const WallpaperBundle &bundle, const WallpaperSettings &settings,
                               WallpaperPart part)
    : _bundle(bundle), _settings(settings), _part(part),
      _root(UIView::initWithFrame({{0, 0}, settings.size})),
      _sizeSettled([this] { _isFreshWanted = true; }),
      _showAnyway([this] { _hasFreshBegun = true; }) {
    const CGRect bounds{{0, 0}, settings.size};
    UIScreen::setMainScreen(makeRetained<UIScreen>(bounds, settings.density));
    _shown = makeView();
}

WallpaperStage::~WallpaperStage() {
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
    _sizeSettled.callAfter(kSettlingTime);
}

void WallpaperStage::setRunning(bool running) {
    _isRunning = running;
    _shown->setRunning(running);
    if (_fresh) {
        _fresh->setRunning(running);
    }
}

void WallpaperStage::scrollBy(CGFloat distance) {
    set(changeByScrolling(_settings.offset, distance, _settings.size.width));
}

void WallpaperStage::finishScrolling() {
    const BundleCall call(BundleCall::Kind::FinishScrolling);
    view().scrollingDidFinish(_settings.offset.value_or(0));
}

void WallpaperStage::tap(CGPoint point) {
    const BundleCall call(BundleCall::Kind::Tap);
    const CGFloat scale = view().scale();
    if (scale > 0) {
        view().tapActionAtViewPoint({point.x / scale, point.y / scale});
    }
}

/// The view does not tell its level, so the settings keep count of it.
PlayedValues WallpaperStage::playedValues() {
    PlayedValues values;
    if (const auto *petals = dynamic_cast<const LumiveraView *>(&view())) {
        values.petals = petals->sakuraCount();
    }
    values.speed = _settings.speed.value_or(_bundle.description().fallingSpeed);
    return values;
}

void WallpaperStage::set(const WallpaperValues &values) {
    _settings.apply(values);
    _settings.applyTo(view(), values);
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
    hideOtherParts();
}

/// A view that animates has loaded. Its own thread may start it at any moment, and it may be paused
/// soon after, so this runs at both ends of every call-out.
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

/// Hidden views keep their frames, by which petals are recycled. This runs before every picture,
/// because a wallpaper adds views and changes them when it likes.
void WallpaperStage::hideOtherParts() {
    if (_part == WallpaperPart::Petals) {
        view().bgView()->setHidden(true);
    } else if (_part == WallpaperPart::Background) {
        for (NSUInteger i = 0; i < view().subviewCount(); ++i) {
            UIView *const part = view().subviewAtIndex(i);
            part->setHidden(part->isHidden() || part != view().bgView());
        }
    }
}

void WallpaperStage::beginFreshView() {
    if (_fresh) {
        _fresh->view().removeFromSuperview();
    }
    _fresh = makeView();
    _fresh->view().setHidden(true);
    _showAnyway.callAfter(kLoadingPatience);
}

void WallpaperStage::showFreshView() {
    _hasFreshBegun = false;
    _showAnyway.cancel();
    if (!_fresh) {
        return;
    }
    {
        const BundleCall call(BundleCall::Kind::Ending);
        _shown->view().removeFromSuperview();
        _shown = std::move(_fresh);
    }
    _shown->view().setHidden(false);
    _settings.applyTo(_shown->view());
}

} // namespace Lumivera
