#pragma once

namespace Lumivera {

/// What the system says about the user's session and the machine.
struct SessionState {
    bool isLocked = false;

    /// Nobody has touched anything for the time that the desktop calls idle.
    bool isIdle = false;

    /// The machine is about to sleep, or has not told yet that it woke up.
    bool isAsleep = false;

    /// Another session has the screens.
    bool isInactive = false;

    bool isOnBattery = false;

    bool operator==(const SessionState &) const = default;
};

} // namespace Lumivera
