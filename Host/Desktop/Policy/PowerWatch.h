#pragma once

#include "Host/Desktop/Policy/SystemBus.h"

#include <functional>
#include <string>

namespace Lumivera {

/// Follows the power service, UPower. Main thread.
class UPowerWatch {
  public:
    /// `changed` is called in call-outs whenever an answer may be different. The bus must outlive
    /// the object, and must not be served after the object's end.
    UPowerWatch(SystemBus &bus, std::function<void()> changed);

    UPowerWatch(const UPowerWatch &) = delete;
    UPowerWatch &operator=(const UPowerWatch &) = delete;

    /// True when the service has answered.
    bool isThere() const { return _isThere; }

    bool isOnBattery() const { return _isOnBattery; }

    /// Called when the bus, and so the service, is gone.
    void forget();

  private:
    void read();

    SystemBus &_bus;
    const std::function<void()> _changed;
    bool _isThere = false;
    bool _isOnBattery = false;
};

/// Follows the machine's power supplies through the kernel, for systems without a power service.
/// Where the kernel's messages cannot be received, only refresh() reads the supplies again. Main
/// thread.
class PowerSupplyWatch final : private DescriptorSource {
  public:
    /// `changed` is called in call-outs when the answer has changed. `folder` has a subfolder for
    /// each supply.
    PowerSupplyWatch(DescriptorWaiter &waiter, std::string folder, std::function<void()> changed);
    ~PowerSupplyWatch();

    PowerSupplyWatch(const PowerSupplyWatch &) = delete;
    PowerSupplyWatch &operator=(const PowerSupplyWatch &) = delete;

    /// True when a battery of the machine itself discharges and no other supply is connected.
    bool isOnBattery() const { return _isOnBattery; }

    void refresh();

    /// Where Linux lists the power supplies.
    static constexpr const char *kFolder = "/sys/class/power_supply";

    /// True when the supplies in the folder say that the machine is on battery; false without such
    /// a folder.
    static bool readFolder(const std::string &folder);

  private:
    int descriptor() const override { return _messages; }
    void serve() override;

    DescriptorWaiter &_waiter;
    const std::string _folder;
    const std::function<void()> _changed;
    int _messages = -1;
    bool _isOnBattery = false;
};

} // namespace Lumivera
