#pragma once

#include "Platform/CoreGraphics/CGContext.h"
#include "Platform/UIKit/UIImage.h"

/// The current image context of the calling thread. Contexts stack; each begin needs an end.

/// Makes a clear context of that size in points, rounded up to whole pixels at one pixel a point,
/// the current one. User space has its origin at the top left with y growing downward. A size of 0
/// or beyond CGImage's bounds makes no context current until the matching end.
PLATFORM_EXPORT void UIGraphicsBeginImageContext(CGSize size);

/// Null when there is none. Valid until the matching end.
PLATFORM_EXPORT CGContext *UIGraphicsGetCurrentContext();

/// What the current context shows, at scale 1; null when there is none.
PLATFORM_EXPORT Retained<UIImage> UIGraphicsGetImageFromCurrentImageContext();

PLATFORM_EXPORT void UIGraphicsEndImageContext();
