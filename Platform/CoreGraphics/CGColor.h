#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

/// A colour in device RGB: components from 0 to 1, not premultiplied.
struct CGColor {
    CGFloat red = 0;
    CGFloat green = 0;
    CGFloat blue = 0;
    CGFloat alpha = 1;
    friend bool operator==(const CGColor &, const CGColor &) = default;
};
