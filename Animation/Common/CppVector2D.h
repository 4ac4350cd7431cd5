#pragma once

/// A vector of two single-precision components, also where coordinates are double precision.
struct CppVector2D {
    float x = 0;
    float y = 0;
    friend bool operator==(const CppVector2D &, const CppVector2D &) = default;
};
