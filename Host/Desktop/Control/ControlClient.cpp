#include "Host/Desktop/Control/ControlClient.h"

#include "Host/Support/ListeningSocket.h"
#include "Host/Wallpapers/Places.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr mode_t kOursAlone = 0700;
constexpr mode_t kOthers = 077;

/// True for a folder, not a link to one, that the user owns.
bool isOwnFolder(const std::string &path, struct stat &status) {
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid();
}

using WallClock = std::chrono::steady_clock;

constexpr auto kTimeout = std::chrono::seconds(10);
constexpr std::size_t kMaxAnswer = 16 << 20;

/// A connection to the host for one question, with a time limit.
class Connection {
  public:
    explicit Connection(const std::string &folder)
        : _path(ControlPlace::socketIn(folder)),
          _descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval limit{kTimeout.count(), 0};
        setsockopt(_descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        if (!ControlPlace::isOurFolder(folder) || !ListeningSocket::connectTo(_path, _descriptor)) {
            const bool isBusy = errno == EAGAIN;
            close(_descriptor);
            isBusy ? failSilently() : failWithoutHost();
        }
    }
    ~Connection() { close(_descriptor); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// Ignores failures: a host that refuses may close before it has read everything, but has
    /// answered.
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
        while (text.size() < kMaxAnswer && waitForMore()) {
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

    const WallClock::time_point _end = WallClock::now() + kTimeout;
    const std::string _path;
    const int _descriptor;
};

} // namespace

std::string ControlPlace::standardFolder(const std::string &temporaryFolder) {
    if (const auto folder = Places::runtimePath("lumivera")) {
        return *folder;
    }
    const std::string user = std::to_string(geteuid());
    struct stat status;
    const std::string ours = "/run/user/" + user;
    if (isOwnFolder(ours, status)) {
        return ours + "/lumivera";
    }
    const std::string temporary = temporaryFolder + "/lumivera-" + user;
    const bool isFree = lstat(temporary.c_str(), &status) != 0;
    return isFree || isOwnFolder(temporary, status) ? temporary : Places::statePath("lumivera");
}

void ControlPlace::makeFolder(const std::string &folder) {
    if (mkdir(folder.c_str(), kOursAlone) != 0 && errno != EEXIST) {
        throw HostError(folder, "cannot be made: " + systemErrorText(),
                        "set XDG_RUNTIME_DIR to a folder of yours");
    }
    struct stat status;
    if (!isOwnFolder(folder, status)) {
        throw HostError(folder, "is not a folder of yours",
                        "remove it, or set XDG_RUNTIME_DIR to a folder of yours");
    }
    if ((status.st_mode & kOthers) != 0 && chmod(folder.c_str(), kOursAlone) != 0) {
        throw HostError(folder, "is open to others: " + systemErrorText(), "remove it");
    }
}

bool ControlPlace::isOurFolder(const std::string &folder) {
    struct stat status;
    return isOwnFolder(folder, status) && (status.st_mode & kOthers) == 0;
}

std::string ControlClient::ask(const std::string &folder, std::string_view request) {
    const Connection connection(folder);
    connection.send(std::string(request) + "\n");
    return connection.receiveLine();
}

} // namespace Lumivera
