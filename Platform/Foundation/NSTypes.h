#pragma once

#include <cstdint>
#include <limits>

/// Marks what libLumiveraPlatform.so shows to the host and to plug-ins; everything else is hidden.
#define PLATFORM_EXPORT __attribute__((visibility("default")))

/// Integers of pointer width. Counts are unsigned, levels are signed.
using NSInteger = std::intptr_t;
using NSUInteger = std::uintptr_t;

/// Seconds, as the media clock and delays count them.
using NSTimeInterval = double;

/// The integer part of a number, clamped to 32 bits; 0 for NaN. Any thread.
constexpr std::int32_t truncated(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (value >= Limits::max()) {
        return Limits::max();
    }
    if (value <= Limits::min()) {
        return Limits::min();
    }
    return value == value ? static_cast<std::int32_t>(value) : 0;
}
