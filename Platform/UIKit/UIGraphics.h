#pragma once

#include "Platform/CoreGraphics/CGContext.h"
#include "Platform/UIKit/UIImage.h"

// The current image context of the calling thread. Contexts are nested; each begin needs an end.

/// Makes a clear context current. `size` is in points and is rounded up to whole pixels, at one
/// pixel a point. User space has its origin at the top left with y growing downward. With a size of
/// 0 or beyond CGImage's bounds there is no current context until the matching end.
PLATFORM_EXPORT void UIGraphicsBeginImageContext(CGSize size);

/// Null when there is none. Valid until the matching end.
PLATFORM_EXPORT CGContext *UIGraphicsGetCurrentContext();

/// The current context's bitmap as an image at scale 1; null when there is no context.
PLATFORM_EXPORT Retained<UIImage> UIGraphicsGetImageFromCurrentImageContext();

PLATFORM_EXPORT void UIGraphicsEndImageContext();
