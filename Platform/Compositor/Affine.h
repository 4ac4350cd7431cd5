#pragma once

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

    /// This map after the rectangle at (x, y) with the given sides was put in place of the unit
    /// square.
    Affine fromRect(double x, double y, double width, double height) const;

    /// None when the map squeezes the plane to a line or a point, or is not finite.
    std::optional<Affine> inverse() const;
};
