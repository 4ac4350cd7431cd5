#include "Platform/QuartzCore/CAAnimation.h"

void CAAnimation::setDelegate(CAAnimationDelegate *delegate) {
    _delegate = Weak<CAAnimationDelegate>(delegate);
}
