#include "Platform/Compositor/Affine.h"

#include <cmath>

bool Affine::isFinite() const {
    return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d) &&
           std::isfinite(tx) && std::isfinite(ty);
}

Affine Affine::fromRect(double x, double y, double width, double height) const {
    return {a * width, b * width, c * height, d * height, a * x + c * y + tx, b * x + d * y + ty};
}

std::optional<Affine> Affine::inverse() const {
    const double determinant = a * d - b * c;
    if (!isFinite() || determinant == 0) {
        return std::nullopt;
    }
    Affine result{d / determinant, -b / determinant, -c / determinant, a / determinant, 0, 0};
    result.tx = -(tx * result.a + ty * result.c);
    result.ty = -(tx * result.b + ty * result.d);
    return result.isFinite() ? std::optional(result) : std::nullopt;
}
