#include "Animation/Common/LWUICommonDefine.h"

#include <cmath>
#include <cstdint>
#include <limits>

CGFloat distanceForTwoPoints(CGPoint a, CGPoint b) {
    const CGFloat dx = a.x - b.x;
    const CGFloat dy = a.y - b.y;
    return std::sqrt(static_cast<float>(dx * dx + dy * dy));
}

NSUInteger wholeNumber(CGFloat length) {
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    if (!(length >= 1)) {
        return 0;
    }
    return length < largest ? static_cast<NSUInteger>(length) : largest;
}
