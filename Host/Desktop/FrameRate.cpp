#include "Host/Desktop/FrameRate.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr Clock::Nanoseconds kSecond = 1'000'000'000;

} // namespace

void FrameRate::countFrame(Clock::Nanoseconds now) { _times[_frames++ % _times.size()] = now; }

double FrameRate::perSecond(Clock::Nanoseconds now) const {
    const std::uint64_t known = std::min<std::uint64_t>(_frames, _times.size());
    if (known < 2) {
        return 0;
    }
    const Clock::Nanoseconds last = _times[(_frames - 1) % _times.size()];
    const Clock::Nanoseconds first = _times[(_frames - known) % _times.size()];
    if (now - last > kSecond || last <= first) {
        return 0;
    }
    return static_cast<double>(known - 1) * kSecond / static_cast<double>(last - first);
}

} // namespace Lumivera
