#include "Host/Support/SystemLog.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

/// The head of a packet, which all logs read: priority, local time in English, name and process.
std::string head() {
    static constexpr std::array<const char *, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t now = std::time(nullptr);
    std::tm time{};
    localtime_r(&now, &time);
    char text[80];
    std::snprintf(text, sizeof text,
                  "<%d>%s %2d %02d:%02d:%02d lumivera[%d]: ", LOG_USER | LOG_INFO,
                  kMonths[static_cast<std::size_t>(time.tm_mon)], time.tm_mday, time.tm_hour,
                  time.tm_min, time.tm_sec, getpid());
    return text;
}

} // namespace

SystemLog::~SystemLog() { disconnect(); }

/// A log that was started again has a new socket.
void SystemLog::write(std::string_view line) {
    const std::string packet = head().append(line.substr(0, kMaxBytes));
    const std::lock_guard lock(_mutex);
    if (!send(packet) && errno != EAGAIN) {
        disconnect();
        connect();
        send(packet);
    }
}

bool SystemLog::send(const std::string &packet) const {
    return ::send(_descriptor, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void SystemLog::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    _path.copy(address.sun_path, sizeof address.sun_path - 1);
    _descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (::connect(_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        disconnect();
    }
}

void SystemLog::disconnect() {
    if (_descriptor >= 0) {
        close(std::exchange(_descriptor, -1));
    }
}

} // namespace Lumivera
