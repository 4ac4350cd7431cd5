#include "Host/Desktop/Policy/UPowerWatch.h"

#include <systemd/sd-bus.h>

namespace Lumivera {

namespace {

constexpr const char *kService = "org.freedesktop.UPower";
constexpr const char *kPath = "/org/freedesktop/UPower";

} // namespace

UPowerWatch::UPowerWatch(SystemBus &bus, std::function<void()> changed)
    : _bus(bus), _changed(std::move(changed)) {
    _bus.listenToOwner(kService, [this](bool isThere) {
        forget();
        if (isThere) {
            read();
        }
        _changed();
    });
    _bus.listenToProperties({kService, kPath, kService, ""}, [this](sd_bus_message &) { read(); });
    read();
}

void UPowerWatch::forget() {
    _isThere = false;
    _isOnBattery = false;
}

/// Starts the service where it is installed and does not run.
void UPowerWatch::read() {
    _bus.getProperty({kService, kPath, kService, "OnBattery"}, [this](sd_bus_message &message) {
        int isOnBattery = 0;
        _isThere = sd_bus_message_is_method_error(&message, nullptr) == 0 &&
                   sd_bus_message_read(&message, "v", "b", &isOnBattery) > 0;
        _isOnBattery = _isThere && isOnBattery != 0;
        _changed();
    });
}

} // namespace Lumivera
