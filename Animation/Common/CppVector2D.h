#pragma once

/// Two single-precision components, both zero at first, whatever the precision of coordinates.
struct CppVector2D {
    float x = 0;
    float y = 0;
    friend bool operator==(const CppVector2D &, const CppVector2D &) = default;
};
