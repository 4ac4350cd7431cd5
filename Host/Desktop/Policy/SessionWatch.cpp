#include "Host/Desktop/Policy/SessionWatch.h"

namespace Lumivera {

SessionWatch::SessionWatch(DescriptorWaiter &waiter, std::string supplyFolder)
    : _waiter(waiter), _supplyFolder(std::move(supplyFolder)), _bus(waiter),
      _logind(_bus, [this] { update(); }), _upower(_bus, [this] { update(); }) {
    _bus.setLossHandler([this] { busLost(); });
    update();
}

void SessionWatch::refresh() {
    if (_supplies) {
        _supplies->refresh();
    }
}

void SessionWatch::busLost() {
    _logind.forget();
    _upower.forget();
    update();
}

void SessionWatch::update() {
    const SessionState state{_logind.isLocked(), _logind.isIdle(), _logind.isAsleep(),
                             _logind.isInactive(), isOnBattery()};
    if (state == _state) {
        return;
    }
    _state = state;
    if (_listener) {
        _listener->sessionChanged(_state);
    }
}

/// Watches the power supplies itself only while no power service runs.
bool SessionWatch::isOnBattery() {
    if (_upower.isThere()) {
        _supplies.reset();
        return _upower.isOnBattery();
    }
    if (!_supplies) {
        _supplies =
            std::make_unique<PowerSupplyWatch>(_waiter, _supplyFolder, [this] { update(); });
    }
    return _supplies->isOnBattery();
}

} // namespace Lumivera
