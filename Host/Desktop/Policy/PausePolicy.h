#pragma once

#include "Host/Displays/Desktop.h"

#include <string>
#include <vector>

namespace Lumivera {

/// What the system says about the user's session and the machine.
struct SessionState {
    bool isLocked = false;

    /// No input for the time that the desktop calls idle.
    bool isIdle = false;

    /// The machine is about to sleep, or has not reported yet that it woke up.
    bool isAsleep = false;

    /// Another session has the screens.
    bool isInactive = false;

    bool isOnBattery = false;

    bool operator==(const SessionState &) const = default;
};

/// What the user wants while nobody sees the wallpaper, or on battery.
struct PauseOptions {
    enum class OnBattery {
        Run,
        Slow, ///< half of the petals
        Pause,
    };

    OnBattery onBattery = OnBattery::Run;

    /// Covered by windows, or by one full-screen window.
    bool whenCovered = true;
    bool whenLocked = true;
    bool whenIdle = true;

    bool operator==(const PauseOptions &) const = default;
};

/// What PausePolicy decides for the wallpaper of one output.
struct PauseDecision {
    /// The names of the reasons to rest, the most lasting first; empty while it runs.
    std::vector<std::string> reasons;

    /// True when it shows half of its petals, also while it rests.
    bool hasHalfPetals = false;

    bool isPaused() const { return !reasons.empty(); }

    bool operator==(const PauseDecision &) const = default;
};

/// Decides when the wallpaper of an output rests. The reasons are "user", "asleep", "locked",
/// "idle", "output-off", "fullscreen", "covered" and "battery". Whatever the options say, it rests
/// on an output that is off, on a machine that sleeps, and in a session that does not have the
/// screens, which counts as "locked".
class PausePolicy {
  public:
    static PauseDecision decide(const PauseOptions &options, SurfaceVisibility visibility,
                                const SessionState &session, bool isPausedByUser);
};

} // namespace Lumivera
