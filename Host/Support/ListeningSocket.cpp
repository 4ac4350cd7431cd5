#include "Host/Support/ListeningSocket.h"

#include "Host/Support/HostError.h"
#include "Host/Support/PacketSocket.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

constexpr int kBacklog = 64;
constexpr mode_t kOursAlone = 0600;
constexpr NSTimeInterval kRest = 1;

sockaddr_un addressOf(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw HostError(path, "is too long a name for a socket",
                        "set XDG_RUNTIME_DIR to a folder with a shorter name");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

} // namespace

ListeningSocket::ListeningSocket(DescriptorWatch &watch, Kind kind, std::string path,
                                 Accepted accepted)
    : _watch(watch), _path(std::move(path)), _accepted(std::move(accepted)),
      _rest([] {}) {  // awaitedEvents() accepts again when this is over
    addressOf(_path); // refuses a long path before there is anything to close
    const int type = kind == Kind::Stream ? SOCK_STREAM : SOCK_SEQPACKET;
    unlink(_path.c_str());
    _descriptor = socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const bool isBound = _descriptor >= 0 && bindTo(_path, _descriptor);
    const bool isListening =
        isBound && chmod(_path.c_str(), kOursAlone) == 0 && listen(_descriptor, kBacklog) == 0;
    if (!isListening) {
        const std::string problem = systemErrorText();
        if (isBound) {
            unlink(_path.c_str());
        }
        close(_descriptor);
        throw HostError(_path, "cannot be opened as a socket: " + problem,
                        "check the folder and its permissions");
    }
    _watch.add(*this);
}

ListeningSocket::~ListeningSocket() {
    _watch.remove(*this);
    unlink(_path.c_str());
    close(_descriptor);
}

bool ListeningSocket::bindTo(const std::string &path, int descriptor) {
    const sockaddr_un address = addressOf(path);
    return bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool ListeningSocket::connectTo(const std::string &path, int descriptor) {
    const sockaddr_un address = addressOf(path);
    return connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

/// Stops waiting for connections that cannot be accepted now: they would wake the run loop without
/// end.
short ListeningSocket::awaitedEvents() const { return _rest.isPending() ? 0 : POLLIN; }

void ListeningSocket::serve() {
    for (;;) {
        const int descriptor = accept4(_descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor >= 0) {
            _accepted(descriptor, isPeerOfUser(descriptor));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            _rest.callAfter(kRest);
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

} // namespace Lumivera
