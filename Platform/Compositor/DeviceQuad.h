#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <optional>

/// A map of the plane for row vectors: x' = a·x + c·y + tx, y' = b·x + d·y + ty.
struct Affine {
    double a = 1;
    double b = 0;
    double c = 0;
    double d = 1;
    double tx = 0;
    double ty = 0;

    friend bool operator==(const Affine &, const Affine &) = default;

    bool isFinite() const;

    /// The map that takes the unit square to where this one takes the rectangle at (x, y) with the
    /// given sides.
    Affine fromRect(double x, double y, double width, double height) const;

    /// None when the map squeezes the plane to a line or a point, or is not finite.
    std::optional<Affine> inverse() const;
};

/// A parallelogram on the device with antialiased edges: the image of the rectangle [0, width] ×
/// [0, height] under an affine map. The coverage of a pixel is the product over both axes of the
/// part that lies between the two edges, measured across them: exact for an upright rectangle, and
/// 1 inside one whose edges lie on pixel boundaries.
class DeviceQuad {
  public:
    /// The pixels [outerLeft, outerRight) of a row that may be covered, and those among them,
    /// [innerLeft, innerRight), that are covered wholly.
    struct Span {
        int outerLeft = 0;
        int innerLeft = 0;
        int innerRight = 0;
        int outerRight = 0;
    };

    /// None when it is degenerate, or too thin to be seen.
    static std::optional<DeviceQuad> make(const Affine &toDevice, double width, double height);

    const Affine &toDevice() const { return _toDevice; }

    /// Takes a pixel's centre, (x + 0.5, y + 0.5), to a point of the rectangle.
    const Affine &fromDevice() const { return _inverse; }

    /// The pixels of `clip` that may be covered.
    DeviceRect boundsWithin(const DeviceRect &clip) const;

    /// The pixels of `clip` that are covered, if they form a rectangle and all are covered wholly.
    std::optional<DeviceRect> alignedRectWithin(const DeviceRect &clip) const;

    /// Whether every pixel of the area, which is not empty, is covered wholly, to the precision of
    /// weights.
    bool coversWholly(const DeviceRect &area) const;

    /// The span of row y within [left, right).
    Span span(int y, int left, int right) const;

    /// Coverage of a pixel, from 0 to 1.
    double coverage(int x, int y) const;

    /// The length of a pixel in units of the rectangle, measured across the left and right edges
    /// and across the top and bottom ones.
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
