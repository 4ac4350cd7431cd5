#pragma once

#include "Host/Desktop/Policy/LogindWatch.h"
#include "Host/Desktop/Policy/PausePolicy.h"
#include "Host/Desktop/Policy/PowerWatch.h"
#include "Host/Desktop/Policy/SystemBus.h"

#include <memory>
#include <string>

namespace Lumivera {

/// Follows the state of the user's session and of the machine without polling. A missing service
/// leaves its states false; it may appear later. Main thread.
class SessionWatch {
  public:
    class Listener {
      public:
        /// Called in a call-out of the main run loop when the state has changed.
        virtual void sessionChanged(const SessionState &state) = 0;

      protected:
        ~Listener() = default;
    };

    /// The waiter must outlive the object. The folder is that of a PowerSupplyWatch, which is used
    /// where no power service runs.
    explicit SessionWatch(DescriptorWaiter &waiter,
                          std::string supplyFolder = PowerSupplyWatch::kFolder);

    SessionWatch(const SessionWatch &) = delete;
    SessionWatch &operator=(const SessionWatch &) = delete;

    /// Not owned; null for none.
    void setListener(Listener *listener) { _listener = listener; }

    /// The state as far as the services have answered.
    const SessionState &state() const { return _state; }

    /// True when the login manager has found our session, and when the power service has answered.
    bool hasLogind() const { return _logind.isThere(); }
    bool hasUPower() const { return _upower.isThere(); }

    /// Reads the power supplies again; for systems whose kernel reports no changes of them.
    void refresh();

  private:
    void busLost();
    void update();
    bool isOnBattery();

    DescriptorWaiter &_waiter;
    const std::string _supplyFolder;
    Listener *_listener = nullptr;
    SessionState _state;
    SystemBus _bus;
    LogindWatch _logind;
    UPowerWatch _upower;

    /// Null while the power service runs.
    std::unique_ptr<PowerSupplyWatch> _supplies;
};

} // namespace Lumivera
