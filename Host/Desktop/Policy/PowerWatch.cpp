#include "Host/Desktop/Policy/PowerWatch.h"

#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <linux/netlink.h>
#include <string_view>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kService = "org.freedesktop.UPower";
constexpr const char *kPath = "/org/freedesktop/UPower";

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxValue = 4096;
constexpr unsigned kKernelGroup = 1;
constexpr std::string_view kSubsystem = "SUBSYSTEM=power_supply";

/// A value of a supply without its line break; empty where the supply has none.
std::string valueOf(const fs::path &supply, const char *name) {
    const auto bytes = readFile((supply / name).string(), kMaxValue);
    std::string text = bytes ? std::string(bytes->begin(), bytes->end()) : "";
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

/// Opens a descriptor for the kernel's messages about devices; -1 on failure.
int openMessages() {
    const int descriptor =
        socket(AF_NETLINK, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kKernelGroup;
    if (descriptor >= 0 &&
        bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

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

/// The call starts the service where it is installed.
void UPowerWatch::read() {
    _bus.getProperty({kService, kPath, kService, "OnBattery"}, [this](sd_bus_message &message) {
        int isOnBattery = 0;
        _isThere = sd_bus_message_is_method_error(&message, nullptr) == 0 &&
                   sd_bus_message_read(&message, "v", "b", &isOnBattery) > 0;
        _isOnBattery = _isThere && isOnBattery != 0;
        _changed();
    });
}

PowerSupplyWatch::PowerSupplyWatch(DescriptorWaiter &waiter, std::string folder,
                                   std::function<void()> changed)
    : _waiter(waiter), _folder(std::move(folder)), _changed(std::move(changed)),
      _messages(openMessages()) {
    if (_messages >= 0) {
        _waiter.add(*this);
    }
    _isOnBattery = readFolder(_folder);
}

PowerSupplyWatch::~PowerSupplyWatch() {
    if (_messages >= 0) {
        _waiter.remove(*this);
        close(_messages);
    }
}

void PowerSupplyWatch::refresh() {
    const bool isOnBattery = readFolder(_folder);
    if (isOnBattery != _isOnBattery) {
        _isOnBattery = isOnBattery;
        _changed();
    }
}

bool PowerSupplyWatch::readFolder(const std::string &folder) {
    bool isFed = false;
    bool isEmptying = false;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(folder, error)) {
        // A mouse may have a battery, too.
        const bool isOfDevice = valueOf(entry.path(), "scope") == "Device";
        const bool isBattery = valueOf(entry.path(), "type") == "Battery";
        if (isBattery && !isOfDevice) {
            isEmptying = isEmptying || valueOf(entry.path(), "status") == "Discharging";
        } else if (!isBattery) {
            isFed = isFed || valueOf(entry.path(), "online") == "1";
        }
    }
    return isEmptying && !isFed;
}

/// ENOBUFS means that messages were lost; one of them may have been about a supply.
void PowerSupplyWatch::serve() {
    std::array<char, 8192> message;
    bool isAboutSupply = false;
    ssize_t size;
    while ((size = recv(_messages, message.data(), message.size(), MSG_DONTWAIT)) >= 0 ||
           errno == ENOBUFS) {
        const std::string_view text(message.data(),
                                    static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        isAboutSupply =
            isAboutSupply || size < 0 || text.find(kSubsystem) != std::string_view::npos;
    }
    if (isAboutSupply) {
        refresh();
    }
}

} // namespace Lumivera
