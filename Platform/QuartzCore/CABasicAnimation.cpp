#include "Platform/QuartzCore/CABasicAnimation.h"

Retained<CABasicAnimation> CABasicAnimation::animationWithKeyPath(std::string keyPath) {
    return makeRetained<CABasicAnimation>(std::move(keyPath));
}
