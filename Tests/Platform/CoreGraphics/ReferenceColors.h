#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>

/// Colours computed by their definitions, without any library.

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>; // rows

inline Triple operator*(const Matrix &m, const Triple &v) {
    Triple result{};
    for (std::size_t i = 0; i < 3; ++i) {
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    }
    return result;
}

inline Matrix transposed(const Matrix &m) {
    return {
        {{m[0][0], m[1][0], m[2][0]}, {m[0][1], m[1][1], m[2][1]}, {m[0][2], m[1][2], m[2][2]}}};
}

inline Matrix operator*(const Matrix &left, const Matrix &right) {
    const Matrix columns = transposed(right);
    return transposed({left * columns[0], left * columns[1], left * columns[2]});
}

inline Matrix inverse(const Matrix &m) {
    const auto cofactor = [&](std::size_t i, std::size_t j) {
        const std::size_t a = (i + 1) % 3, b = (i + 2) % 3, c = (j + 1) % 3, d = (j + 2) % 3;
        return m[a][c] * m[b][d] - m[a][d] * m[b][c];
    };
    const double determinant =
        m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
    Matrix result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            result[i][j] = cofactor(j, i) / determinant;
        }
    }
    return result;
}

inline double encodedSRGB(double light) {
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

inline double decodedSRGB(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

struct Chromaticity {
    double x, y;

    Triple xyz() const { return {x / y, 1, (1 - x - y) / y}; }
};

/// Red, green, blue and white, and the light of a value from 0 to 1.
struct ColorSpace {
    Chromaticity red, green, blue, white;
    std::function<double(double)> light;

    /// From light to XYZ: the primaries, as much of each as makes white.
    Matrix toXYZ() const {
        const Matrix primaries = transposed({red.xyz(), green.xyz(), blue.xyz()});
        const Triple amounts = inverse(primaries) * white.xyz();
        return primaries * Matrix{{{amounts[0], 0, 0}, {0, amounts[1], 0}, {0, 0, amounts[2]}}};
    }

    Triple inSRGB(const Triple &values) const;
};

inline constexpr Chromaticity kD65{0.3127, 0.3290};
inline constexpr Triple kD50{0.9642, 1, 0.8249};

inline ColorSpace sRGB() { return {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, kD65, decodedSRGB}; }

inline ColorSpace displayP3() {
    return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, kD65, decodedSRGB};
}

inline ColorSpace adobeRGB() {
    return {{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}, kD65, [](double value) {
                return std::pow(value, 563 / 256.0);
            }};
}

/// With sRGB's primaries.
inline ColorSpace withGamma(double gamma) {
    ColorSpace space = sRGB();
    space.light = [gamma](double value) { return std::pow(value, 1 / gamma); };
    return space;
}

/// Bradford's adaptation from one white to another.
inline Matrix adaptation(const Triple &from, const Triple &to) {
    constexpr Matrix kBradford{
        {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const Triple source = kBradford * from, target = kBradford * to;
    const Matrix scale{{{target[0] / source[0], 0, 0},
                        {0, target[1] / source[1], 0},
                        {0, 0, target[2] / source[2]}}};
    return inverse(kBradford) * scale * kBradford;
}

inline Triple ColorSpace::inSRGB(const Triple &values) const {
    const Matrix adapted = adaptation(white.xyz(), kD65.xyz()) * toXYZ();
    const Triple lights{light(values[0]), light(values[1]), light(values[2])};
    Triple result = inverse(sRGB().toXYZ()) * (adapted * lights);
    for (double &value : result) {
        value = encodedSRGB(std::clamp(value, 0.0, 1.0));
    }
    return result;
}
