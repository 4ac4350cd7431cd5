#include "Host/Desktop/Policy/SystemBus.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <memory>
#include <poll.h>
#include <systemd/sd-bus.h>

namespace Lumivera {

namespace {

constexpr const char *kProperties = "org.freedesktop.DBus.Properties";
constexpr int kMaxMessagesInTurn = 64;

int handle(sd_bus_message *message, void *handler, sd_bus_error *) {
    (*static_cast<SystemBus::Handler *>(handler))(*message);
    return 0;
}

/// Ignores the answer to a request for signals. Without a handler, the library closes the
/// connection when the daemon refuses.
int goOn(sd_bus_message *, void *, sd_bus_error *) { return 0; }

/// Makes the bus own the slot, and the slot its handler, until the answer has come or the bus is
/// closed.
void handOver(sd_bus_slot *slot, std::unique_ptr<SystemBus::Handler> handler) {
    sd_bus_slot_set_userdata(slot, handler.release());
    sd_bus_slot_set_destroy_callback(
        slot, [](void *data) { delete static_cast<SystemBus::Handler *>(data); });
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
}

} // namespace

SystemBus::SystemBus(DescriptorWaiter &waiter, Kind kind)
    : _waiter(waiter), _processAtTimeout([this] { process(); }) {
    if ((kind == Kind::System ? sd_bus_open_system(&_bus) : sd_bus_open_user(&_bus)) < 0) {
        _bus = nullptr;
        return;
    }
    _waiter.add(*this);
    processAtTimeout();
}

SystemBus::~SystemBus() {
    _lost = nullptr;
    disconnect();
}

void SystemBus::listen(const Member &signal, const std::string &firstArgument, Handler handler) {
    const std::string match = "type='signal',sender='" + signal.service + "',path='" + signal.path +
                              "',interface='" + signal.interface + "',member='" + signal.name +
                              "'" + (firstArgument.empty() ? "" : ",arg0='" + firstArgument + "'");
    auto kept = std::make_unique<Handler>(std::move(handler));
    sd_bus_slot *slot = nullptr;
    if (_bus && sd_bus_add_match_async(_bus, &slot, match.c_str(), handle, goOn, kept.get()) >= 0) {
        handOver(slot, std::move(kept));
    }
}

void SystemBus::call(const Member &method, const Handler &addArguments, Handler handler) {
    sd_bus_message *message = nullptr;
    if (!_bus ||
        sd_bus_message_new_method_call(_bus, &message, method.service.c_str(), method.path.c_str(),
                                       method.interface.c_str(), method.name.c_str()) < 0) {
        return;
    }
    addArguments(*message);
    auto kept = std::make_unique<Handler>(std::move(handler));
    sd_bus_slot *slot = nullptr;
    if (sd_bus_call_async(_bus, &slot, message, handle, kept.get(), 0) >= 0) {
        handOver(slot, std::move(kept));
    }
    sd_bus_message_unref(message);
    processAtTimeout();
}

void SystemBus::getProperty(const Member &property, Handler handler) {
    call(
        {property.service, property.path, kProperties, "Get"},
        [&property](sd_bus_message &message) {
            sd_bus_message_append(&message, "ss", property.interface.c_str(),
                                  property.name.c_str());
        },
        std::move(handler));
}

void SystemBus::listenToProperties(const Member &object, Handler handler) {
    listen({object.service, object.path, kProperties, "PropertiesChanged"}, object.interface,
           std::move(handler));
}

void SystemBus::listenToOwner(const std::string &service,
                              std::function<void(bool isThere)> handler) {
    listen({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameOwnerChanged"},
           service, [handler = std::move(handler)](sd_bus_message &message) {
               const char *name = nullptr;
               const char *before = nullptr;
               const char *after = nullptr;
               if (sd_bus_message_read(&message, "sss", &name, &before, &after) >= 0) {
                   handler(*after != '\0');
               }
           });
}

int SystemBus::descriptor() const { return sd_bus_get_fd(_bus); }

short SystemBus::awaitedEvents() const {
    return static_cast<short>(std::max(sd_bus_get_events(_bus), 0));
}

/// A timeout of 0 means that messages were read together with an earlier one.
bool SystemBus::prepareToWait() {
    std::uint64_t timeout = UINT64_MAX;
    return sd_bus_get_timeout(_bus, &timeout) >= 0 && timeout == 0;
}

void SystemBus::serve() { process(); }

void SystemBus::process() {
    int result = 1;
    for (int count = 0; result > 0 && count < kMaxMessagesInTurn; ++count) {
        result = sd_bus_process(_bus, nullptr);
    }
    if (result < 0) {
        disconnect();
    } else {
        processAtTimeout();
    }
}

/// Lets the library end calls that nobody answers. Its timeouts are times of CLOCK_MONOTONIC.
void SystemBus::processAtTimeout() {
    _processAtTimeout.cancel();
    std::uint64_t timeout = UINT64_MAX;
    if (!_bus || sd_bus_get_timeout(_bus, &timeout) < 0 || timeout == UINT64_MAX) {
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double left = static_cast<double>(timeout) / 1e6 -
                        (static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9);
    _processAtTimeout.callAfter(std::max(left, 0.0));
}

void SystemBus::disconnect() {
    _processAtTimeout.cancel();
    if (!_bus) {
        return;
    }
    _waiter.remove(*this);
    sd_bus_close_unref(_bus);
    _bus = nullptr;
    if (_lost) {
        _lost();
    }
}

} // namespace Lumivera
