#include "Host/Playing/AnimationSwitch.h"

#include "Platform/Foundation/NSRunLoop.h"

namespace Lumivera {

namespace {

constexpr const char *kCheck = "lumiveraAnimationSwitch";
constexpr NSTimeInterval kBetweenChecks = 0.005;

} // namespace

AnimationSwitch::AnimationSwitch(Retained<DeskTopView> view) : _view(std::move(view)) {}

AnimationSwitch::~AnimationSwitch() { cancelCheck(); }

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
        _view->pauseAnimating();
    } else if (_view->operationQueue().operationCount() == 0) {
        cancelCheck();
        _view->resumeAnimating();
    } else {
        checkLater();
    }
}

void AnimationSwitch::checkLater() {
    if (_isCheckPending) {
        return;
    }
    _isCheckPending = true;
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        _view.get(), kCheck,
        [this] {
            _isCheckPending = false;
            update();
        },
        kBetweenChecks);
}

void AnimationSwitch::cancelCheck() {
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(_view.get(), kCheck);
    _isCheckPending = false;
}

} // namespace Lumivera
