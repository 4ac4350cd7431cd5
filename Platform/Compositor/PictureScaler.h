#pragma once

#include "Platform/Compositor/ColumnPicture.h"
#include "Platform/Compositor/PixelArea.h"

/// Scales pictures well rather than fast, along each axis by itself. The same picture and
/// numbers give the same pixels on every machine.
namespace PictureScaler {

/// Where a picture's texels lie along one axis of the device: texel i from origin + i·size to
/// origin + (i + 1)·size; size is above 0.
struct Axis {
    double origin = 0;
    double size = 1;
    friend bool operator==(const Axis &, const Axis &) = default;
};

/// The pixels of `area` with a cubic filter, widened for reduction so that every texel counts.
/// Where the picture's edges cross a pixel, the pixel is covered in part.
ColumnPicture scaled(const Picture &picture, const Axis &x, const Axis &y, const DeviceRect &area);

/// The whole picture in width × height pixels, neither above the picture's own: each is the exact
/// mean of what it covers.
CGPixels reduced(const Picture &picture, int width, int height);

} // namespace PictureScaler
