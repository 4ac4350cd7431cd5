#pragma once

#include "Platform/Foundation/NSTypes.h"
#include "Platform/Foundation/PlatformExport.h"

#include <optional>

/// How often, how fast and which way round an animation runs. Times in seconds; any value is
/// allowed, and those that make no sense have a meaning of their own.
struct PLATFORM_EXPORT CAAnimationTiming {
    static constexpr NSTimeInterval kDefaultDuration = 0.25;

    /// Of one pass one way. 0, less and NaN count as the default.
    NSTimeInterval duration = 0;

    /// Passes, there and back being one. 0, less and NaN count as 1; may be infinite, or end in the
    /// middle of a pass.
    float repeatCount = 0;

    /// Every pass goes back again, in as much time.
    bool autoreverses = false;

    NSTimeInterval effectiveDuration() const;

    /// From the beginning to the end of the last pass; may be infinite.
    NSTimeInterval activeDuration() const;

    /// How far along its way, 0 to 1, a pass is that many seconds after the beginning. Nothing
    /// before the beginning and from the end on.
    std::optional<double> progressAt(NSTimeInterval elapsed) const;
};
