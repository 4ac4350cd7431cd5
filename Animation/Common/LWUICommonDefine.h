#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/Foundation/NSTypes.h"

/// The distance of two points, by a single-precision square root.
WALLPAPER_EXPORT CGFloat distanceForTwoPoints(CGPoint a, CGPoint b);

/// The integer part of a length, clamped to 0 and the largest signed 32-bit number; 0 for NaN.
WALLPAPER_EXPORT NSUInteger wholeNumber(CGFloat length);
