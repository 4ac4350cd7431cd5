#include "Host/Desktop/Isolation/ProcessorUse.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr double kFreeShare = 0.5;

/// Seconds above the free share: a whole core for 2 s, for 6 s before the first picture, for 20 s.
constexpr double kBusy = 1;
constexpr double kBusyWhileLoading = 3;
constexpr double kExcessive = 10;

} // namespace

ProcessorUse::Verdict ProcessorUse::judge(Clock::Nanoseconds now, double seconds,
                                          std::uint64_t pictures) {
    const double free = static_cast<double>(now - _lastTime) / 1e9 * kFreeShare;
    const double above = seconds - _lastSeconds - free;
    const double explained = static_cast<double>(pictures - _lastPictures) * kPerPicture;
    const bool hasLoaded = _lastPictures == 0 && pictures > 0;
    if (_isMeasuring) {
        _surplus = hasLoaded ? 0 : std::max(0.0, _surplus + above);
        _unexplained = std::max(0.0, _unexplained + above - explained);
    }
    _isMeasuring = true;
    _lastTime = now;
    _lastSeconds = seconds;
    _lastPictures = pictures;
    if (_unexplained >= kExcessive) {
        return Verdict::Excessive;
    }
    return _surplus >= (pictures > 0 ? kBusy : kBusyWhileLoading) ? Verdict::Busy : Verdict::Fine;
}

} // namespace Lumivera
