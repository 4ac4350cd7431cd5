#include "Host/Desktop/Control/ControlServer.h"

#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr int kBacklog = 64;
constexpr mode_t kOursAlone = 0600;
constexpr NSTimeInterval kRest = 1;

/// True for programs of this user and of root.
bool isAllowed(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

} // namespace

ControlServer::ControlServer(DescriptorWaiter &waiter, ControlTarget &target, std::string desktop,
                             const std::string &folder)
    : _waiter(waiter), _service(target, std::move(desktop)), _path(ControlPlace::socketIn(folder)),
      _rest([] {}), // awaitedEvents() accepts again when this is over
      _self(std::make_shared<ControlServer *>(this)) {
    ControlPlace::makeFolder(folder);
    lock(folder);
    try {
        listenAtPath();
    } catch (const HostError &) {
        close(_listener);
        close(_lock);
        throw;
    }
    _waiter.add(*this);
}

ControlServer::~ControlServer() {
    *_self = nullptr;
    _waiter.remove(*this);
    unlink(_path.c_str());
    close(_listener);
    close(_lock);
}

/// The kernel releases the lock of a host that ends in any way, so a socket without a lock is a
/// stale one.
void ControlServer::lock(const std::string &folder) {
    const std::string path = folder + "/lock";
    _lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOursAlone);
    if (_lock < 0) {
        throw HostError(path, "cannot be opened: " + systemErrorText(), "remove it");
    }
    if (flock(_lock, LOCK_EX | LOCK_NB) != 0) {
        close(_lock);
        throw HostError(_path, "a host is running already",
                        "speak to it with `lumivera ctl`, or end it with `lumivera ctl quit`");
    }
}

void ControlServer::listenAtPath() {
    unlink(_path.c_str());
    _listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const bool isListening = _listener >= 0 && ControlPlace::bindSocket(_listener, _path) &&
                             chmod(_path.c_str(), kOursAlone) == 0 &&
                             listen(_listener, kBacklog) == 0;
    if (!isListening) {
        throw HostError(_path, "cannot be opened as a socket: " + systemErrorText(),
                        "check the folder and its permissions");
    }
}

/// Stops waiting for connections that cannot be accepted now: they would wake the run loop without
/// end.
short ControlServer::awaitedEvents() const { return _rest.isPending() ? 0 : POLLIN; }

void ControlServer::serve() {
    for (;;) {
        const int descriptor = accept4(_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor >= 0) {
            welcome(descriptor);
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            _rest.callAfter(kRest);
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

void ControlServer::welcome(int descriptor) {
    std::string problem;
    if (!isAllowed(descriptor)) {
        problem = "this host belongs to another user";
    } else if (!makeRoom()) {
        problem = "too many programs are connected";
    }
    if (problem.empty()) {
        Owner &owner = *this;
        _peers.push_back(std::make_unique<ControlPeer>(_waiter, descriptor, ++_lastNumber, owner));
        return;
    }
    const std::string answer = ControlService::refusal(problem) + "\n";
    send(descriptor, answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    close(descriptor);
}

/// The peers are in the order in which they have last asked.
bool ControlServer::makeRoom() {
    if (_peers.size() < kMaxPeers) {
        return true;
    }
    const auto silent =
        std::find_if(_peers.begin(), _peers.end(), [](const auto &peer) { return peer->isIdle(); });
    if (silent == _peers.end()) {
        return false;
    }
    (*silent)->dismiss(ControlService::refusal("another program needs this connection"));
    _service.connectionEnded((*silent)->number());
    _peers.erase(silent);
    return true;
}

ControlPeer *ControlServer::findPeer(std::uint64_t number) {
    const auto found = std::find_if(_peers.begin(), _peers.end(), [number](const auto &peer) {
        return peer->number() == number;
    });
    return found == _peers.end() ? nullptr : found->get();
}

void ControlServer::peerAsked(ControlPeer &peer, std::string_view line) {
    const auto asker = std::find_if(_peers.begin(), _peers.end(),
                                    [&peer](const auto &known) { return known.get() == &peer; });
    std::rotate(asker, asker + 1, _peers.end());
    _service.execute(peer.number(), ControlRequest::parse(line),
                     [self = _self, number = peer.number()](const std::string &answer) {
                         ControlPeer *asker = *self ? (*self)->findPeer(number) : nullptr;
                         if (asker) {
                             asker->answer(answer);
                         }
                     });
}

void ControlServer::peerLeft(ControlPeer &peer) {
    _service.connectionEnded(peer.number());
    std::erase_if(_peers, [&peer](const auto &known) { return known.get() == &peer; });
}

} // namespace Lumivera
