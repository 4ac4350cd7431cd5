#include "Animation/Common/LWUICommonDefine.h"

// A library that is no wallpaper, but stands on one: the function that makes views is within the
// loader's reach, in a library behind this one.
extern "C" WALLPAPER_EXPORT CGFloat lengthOf(CGPoint point) {
    return distanceForTwoPoints({0, 0}, point);
}
