#include "Platform/UIKit/UIScreen.h"

#include <cmath>

namespace {

/// Never destroyed, because threads may still use it while the process ends.
TreeValue<Retained<UIScreen>> &currentMainScreen() {
    static auto *const screen = new TreeValue<Retained<UIScreen>>;
    return *screen;
}

CGFloat usableScale(CGFloat scale) { return scale > 0 && std::isfinite(scale) ? scale : 1; }

} // namespace

UIScreen::UIScreen(const CGRect &bounds, CGFloat scale)
    : _bounds(bounds), _scale(usableScale(scale)) {}

Retained<UIScreen> UIScreen::mainScreen() { return currentMainScreen().get(); }

void UIScreen::setMainScreen(Retained<UIScreen> screen) {
    currentMainScreen().set(std::move(screen));
}

void UIScreen::setScale(CGFloat scale) { _scale.set(usableScale(scale)); }
