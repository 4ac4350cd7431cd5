#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSTypes.h"

/// The distance of two points, with the precision of a single-precision square root.
WALLPAPER_EXPORT CGFloat distanceForTwoPoints(CGPoint a, CGPoint b);

/// A length as a whole number, truncated; 0 for what is below 1 or no number, and the largest
/// 32-bit number for what is beyond it.
WALLPAPER_EXPORT NSUInteger wholeNumber(CGFloat length);
