#include "Platform/UIKit/UIColor.h"

namespace {

/// NaN counts as 0.
CGFloat component(CGFloat value) { return value >= 1 ? 1 : value > 0 ? value : 0; }

} // namespace

Retained<UIColor> UIColor::colorWithRed_green_blue_alpha(CGFloat red, CGFloat green, CGFloat blue,
                                                         CGFloat alpha) {
    return makeRetained<UIColor>(
        CGColor{component(red), component(green), component(blue), component(alpha)});
}

Retained<UIColor> UIColor::clearColor() { return makeRetained<UIColor>(CGColor{0, 0, 0, 0}); }
