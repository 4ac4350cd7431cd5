#include "Host/Desktop/Policy/PausePolicy.h"

namespace Lumivera {

PauseDecision PausePolicy::decide(const PauseOptions &options, SurfaceVisibility visibility,
                                  const SessionState &session, bool isPausedByUser) {
    using OnBattery = PauseOptions::OnBattery;
    const bool isLocked = session.isInactive || (options.whenLocked && session.isLocked);
    const auto isHidden = [&](SurfaceVisibility how) {
        return visibility == how && options.whenCovered;
    };
    const struct {
        const char *name;
        bool holds;
    } reasons[] = {
        {"user", isPausedByUser},
        {"asleep", session.isAsleep},
        {"locked", isLocked},
        {"idle", options.whenIdle && session.isIdle},
        {"output-off", visibility == SurfaceVisibility::Off},
        {"fullscreen", isHidden(SurfaceVisibility::FullScreen)},
        {"covered", isHidden(SurfaceVisibility::Covered)},
        {"battery", session.isOnBattery && options.onBattery == OnBattery::Pause},
    };
    PauseDecision decision;
    for (const auto &reason : reasons) {
        if (reason.holds) {
            decision.reasons.emplace_back(reason.name);
        }
    }
    decision.hasHalfPetals = session.isOnBattery && options.onBattery == OnBattery::Slow;
    return decision;
}

} // namespace Lumivera
