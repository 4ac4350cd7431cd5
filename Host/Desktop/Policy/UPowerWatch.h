#pragma once

#include "Host/Desktop/Policy/SystemBus.h"

#include <functional>

namespace Lumivera {

/// What the power service says. Main thread.
class UPowerWatch {
  public:
    /// `changed` is called in call-outs whenever something may be different. The bus must outlive
    /// the object and not serve it any more when it is gone.
    UPowerWatch(SystemBus &bus, std::function<void()> changed);

    UPowerWatch(const UPowerWatch &) = delete;
    UPowerWatch &operator=(const UPowerWatch &) = delete;

    /// True when the service has answered. Without it nothing is known.
    bool isThere() const { return _isThere; }

    bool isOnBattery() const { return _isOnBattery; }

    /// The bus has gone, and the service with it.
    void forget();

  private:
    void read();

    SystemBus &_bus;
    const std::function<void()> _changed;
    bool _isThere = false;
    bool _isOnBattery = false;
};

} // namespace Lumivera
