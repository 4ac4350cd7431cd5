#pragma once

#include "Host/Desktop/Policy/SessionState.h"
#include "Host/Displays/Desktop.h"

#include <string>
#include <vector>

namespace Lumivera {

/// What the user wants to be done while nobody looks, or while the battery empties.
struct PauseOptions {
    enum class OnBattery {
        Run,
        Slow, ///< with half of the petals
        Pause,
    };

    OnBattery onBattery = OnBattery::Run;

    /// By windows, or by one window that has the whole output.
    bool whenCovered = true;
    bool whenLocked = true;
    bool whenIdle = true;

    bool operator==(const PauseOptions &) const = default;
};

/// What an output's wallpaper is to do.
struct PauseDecision {
    /// Why it rests, by name and the most lasting reason first; empty while it runs.
    std::vector<std::string> reasons;

    /// True when it is to show half of its petals, whether or not it rests as well.
    bool hasHalfPetals = false;

    bool isPaused() const { return !reasons.empty(); }

    bool operator==(const PauseDecision &) const = default;
};

/// When an output's wallpaper rests. Docs/desktop.md lists the reasons.
///
/// What can be seen by nobody rests whatever the options say: an output that is off, a machine that
/// sleeps, and a session that does not have the screens, which counts as "locked".
class PausePolicy {
  public:
    static PauseDecision decide(const PauseOptions &options, SurfaceVisibility visibility,
                                const SessionState &session, bool isPausedByUser);
};

} // namespace Lumivera
