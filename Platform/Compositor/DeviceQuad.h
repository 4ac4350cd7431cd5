#pragma once

#include "Platform/Compositor/Affine.h"
#include "Platform/Compositor/DeviceRect.h"

#include <optional>

/// A parallelogram on the device, the image of the rectangle [0, width] × [0, height] under an
/// affine map, with antialiased edges. How much of a pixel it covers is the product over both axes
/// of the part that lies between the two edges, measured across them: exact for an upright
/// rectangle, and 1 inside one whose edges lie on pixel boundaries.
class DeviceQuad {
  public:
    /// A row's pixels [outerLeft, outerRight) that may be covered, and those of them, [innerLeft,
    /// innerRight), that wholly are and lie at least the asked margin inside.
    struct Span {
        int outerLeft = 0;
        int innerLeft = 0;
        int innerRight = 0;
        int outerRight = 0;
    };

    /// None when it is degenerate, or too thin to be seen.
    static std::optional<DeviceQuad> make(const Affine &toDevice, double width, double height);

    const Affine &toDevice() const { return _toDevice; }

    /// From pixel centres (x + 0.5, y + 0.5) to the rectangle.
    const Affine &fromDevice() const { return _inverse; }

    /// The pixels of `clip` that may be covered.
    DeviceRect boundsWithin(const DeviceRect &clip) const;

    /// The pixels of `clip` that may be covered are all wholly covered, and `clip` is upright.
    std::optional<DeviceRect> alignedRectWithin(const DeviceRect &clip) const;

    /// Of row y, between left and right; the margin is in units of the rectangle.
    Span span(int y, int left, int right, double margin) const;

    /// From 0 to 1, of the pixel with its centre at (u, v) of the rectangle.
    double coverage(double u, double v) const;

    /// Units of the rectangle a pixel, across the respective edges.
    double unitsX() const { return _unitsX; }
    double unitsY() const { return _unitsY; }

  private:
    Affine _toDevice;
    Affine _inverse;
    double _width = 0;
    double _height = 0;
    double _unitsX = 0;
    double _unitsY = 0;
};
