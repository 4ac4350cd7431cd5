#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

/// The integer part of a number; of what lies beyond 32 bits the nearest limit, of NaN 0. Any
/// thread.
inline std::int32_t truncated(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}
