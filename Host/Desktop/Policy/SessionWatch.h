#pragma once

#include "Host/Desktop/Policy/LogindWatch.h"
#include "Host/Desktop/Policy/PowerSupplyWatch.h"
#include "Host/Desktop/Policy/SessionState.h"
#include "Host/Desktop/Policy/SystemBus.h"
#include "Host/Desktop/Policy/UPowerWatch.h"

#include <memory>
#include <string>

namespace Lumivera {

/// Follows what the system says about the user's session and the machine, without ever asking
/// twice. Services that are not there say that nothing is the case; they may come later. Main
/// thread.
class SessionWatch {
  public:
    class Listener {
      public:
        /// In a call-out of the main run loop, only when something is different.
        virtual void sessionChanged(const SessionState &state) = 0;

      protected:
        ~Listener() = default;
    };

    /// The waiter must outlive the object. The folder tells of the power supplies where no power
    /// service does.
    explicit SessionWatch(DescriptorWaiter &waiter,
                          std::string supplyFolder = PowerSupplyWatch::kFolder);

    SessionWatch(const SessionWatch &) = delete;
    SessionWatch &operator=(const SessionWatch &) = delete;

    /// Not owned; null for none.
    void setListener(Listener *listener) { _listener = listener; }

    /// As far as the services have told already.
    const SessionState &state() const { return _state; }

    /// Whether the login manager has told of our session, and the power service of the battery.
    bool hasLogind() const { return _logind.isThere(); }
    bool hasUPower() const { return _upower.isThere(); }

    /// Reads the power supplies again, for systems that do not tell of their changes.
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

    /// While there is no power service.
    std::unique_ptr<PowerSupplyWatch> _supplies;
};

} // namespace Lumivera
