#include "Animation/Common/LWUICommonDefine.h"

#include "Platform/Foundation/NSTypes.h"

#include <algorithm>
#include <cmath>

CGFloat distanceForTwoPoints(CGPoint a, CGPoint b) {
    const CGFloat dx = a.x - b.x;
    const CGFloat dy = a.y - b.y;
    return std::sqrt(static_cast<float>(dx * dx + dy * dy));
}

NSUInteger wholeNumber(CGFloat length) {
    return static_cast<NSUInteger>(std::max(truncated(length), 0));
}
