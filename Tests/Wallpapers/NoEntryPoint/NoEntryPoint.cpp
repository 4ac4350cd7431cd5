#include "Animation/Common/LWUICommonDefine.h"

// A library that is no wallpaper, although it stands on what wallpapers stand on.
extern "C" WALLPAPER_EXPORT CGFloat lengthOf(CGPoint point) {
    return distanceForTwoPoints({0, 0}, point);
}
