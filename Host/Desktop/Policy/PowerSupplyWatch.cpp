#include "Host/Desktop/Policy/PowerSupplyWatch.h"

#include "Platform/Foundation/NSFileManager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <linux/netlink.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLongestValue = 4096;
constexpr unsigned kKernelGroup = 1;
constexpr std::string_view kSubsystem = "SUBSYSTEM=power_supply";

/// One of a supply's values, without the line's end; empty without it.
std::string valueOf(const fs::path &supply, const char *name) {
    const auto bytes = readFile((supply / name).string(), kLongestValue);
    std::string text = bytes ? std::string(bytes->begin(), bytes->end()) : "";
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

/// A descriptor that the kernel's messages about devices come from; -1 when it gives none.
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
        // A mouse has a battery, too.
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

/// Messages that were lost may have been about a supply.
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
