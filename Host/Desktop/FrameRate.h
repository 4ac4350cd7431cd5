#pragma once

#include "Platform/Foundation/Clock.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Lumivera {

/// Counts frames, and tells how many come a second of late.
class FrameRate {
  public:
    void countFrame(Clock::Nanoseconds now);

    std::uint64_t frames() const { return _frames; }

    /// Over the last frames; 0 when there was none in the last second.
    double perSecond(Clock::Nanoseconds now) const;

  private:
    std::array<Clock::Nanoseconds, 64> _times{};
    std::uint64_t _frames = 0;
};

} // namespace Lumivera
