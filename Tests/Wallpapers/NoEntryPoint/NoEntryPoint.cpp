#include "Animation/Common/LWUICommonDefine.h"

// A library that is not a wallpaper, although it links what wallpapers link.
extern "C" WALLPAPER_EXPORT CGFloat lengthOf(CGPoint point) {
    return distanceForTwoPoints({0, 0}, point);
}
