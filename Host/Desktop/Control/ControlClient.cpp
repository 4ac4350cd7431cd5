#include "Host/Desktop/Control/ControlClient.h"

#include "Host/Desktop/Control/ControlPlace.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumivera {

namespace {

using WallClock = std::chrono::steady_clock;

constexpr auto kLimit = std::chrono::seconds(10);
constexpr std::size_t kLongestAnswer = 16 << 20;

/// A connection that knows when its time is over.
class Connection {
  public:
    explicit Connection(const std::string &folder)
        : _path(ControlPlace::socketIn(folder)),
          _descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval limit{kLimit.count(), 0};
        setsockopt(_descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        if (!ControlPlace::isOurFolder(folder) ||
            !ControlPlace::connectSocket(_descriptor, _path)) {
            const bool isBusy = errno == EAGAIN;
            close(_descriptor);
            isBusy ? failSilently() : failWithoutHost();
        }
    }
    ~Connection() { close(_descriptor); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// A host that turns us away may close before it has taken everything.
    void send(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t count = ::send(_descriptor, text.data(), text.size(), MSG_NOSIGNAL);
            if (count < 0 && errno != EINTR) {
                return;
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }

    std::string receiveLine() const {
        std::string text;
        std::array<char, 16384> part;
        while (text.size() < kLongestAnswer && waitForMore()) {
            const ssize_t count = recv(_descriptor, part.data(), part.size(), 0);
            if (count <= 0) {
                break;
            }
            text.append(part.data(), static_cast<std::size_t>(count));
            const std::size_t end = text.find('\n');
            if (end != std::string::npos) {
                return text.substr(0, end);
            }
        }
        failSilently();
    }

  private:
    bool waitForMore() const {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(_end - WallClock::now());
        pollfd state{_descriptor, POLLIN, 0};
        return poll(&state, 1, static_cast<int>(std::max<long>(left.count(), 0))) > 0;
    }

    [[noreturn]] void failWithoutHost() const {
        throw NoHostError(_path, "no host is running", "start one with `lumivera desktop`");
    }

    [[noreturn]] void failSilently() const {
        throw HostError(_path, "the host does not answer",
                        "see whether it is busy, or start it anew");
    }

    const WallClock::time_point _end = WallClock::now() + kLimit;
    const std::string _path;
    const int _descriptor;
};

} // namespace

std::string ControlClient::ask(const std::string &folder, std::string_view request) {
    const Connection connection(folder);
    connection.send(std::string(request) + "\n");
    return connection.receiveLine();
}

} // namespace Lumivera
