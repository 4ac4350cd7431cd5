#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <functional>
#include <string>

namespace Lumivera {

/// What the kernel says of the machine's power supplies, for systems without a power service. Reads
/// again when the kernel tells of a change, or when asked to where the kernel's messages cannot be
/// had. Main thread.
class PowerSupplyWatch final : private DescriptorSource {
  public:
    /// `changed` is called in call-outs when the answer is another one. The folder holds a folder
    /// for each supply.
    PowerSupplyWatch(DescriptorWaiter &waiter, std::string folder, std::function<void()> changed);
    ~PowerSupplyWatch();

    PowerSupplyWatch(const PowerSupplyWatch &) = delete;
    PowerSupplyWatch &operator=(const PowerSupplyWatch &) = delete;

    /// True when a battery of the machine's own empties and nothing feeds it.
    bool isOnBattery() const { return _isOnBattery; }

    void refresh();

    /// Where Linux tells of them.
    static constexpr const char *kFolder = "/sys/class/power_supply";

    /// What the folder says now. A folder that is not there says no.
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
