#include "Host/Desktop/Control/ControlServer.h"

#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr mode_t kOursAlone = 0600;

} // namespace

ControlServer::ControlServer(DescriptorWaiter &waiter, ControlTarget &target, std::string desktop,
                             const std::string &folder)
    : _waiter(waiter), _service(target, std::move(desktop)),
      _self(std::make_shared<ControlServer *>(this)) {
    ControlPlace::makeFolder(folder);
    lock(folder);
    try {
        _listener.emplace(_waiter, ListeningSocket::Kind::Stream, ControlPlace::socketIn(folder),
                          [this](int peer, bool isOfUser) { welcome(peer, isOfUser); });
    } catch (const HostError &) {
        close(_lock);
        throw;
    }
}

ControlServer::~ControlServer() {
    *_self = nullptr;
    _listener.reset();
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
        throw HostError(ControlPlace::socketIn(folder), "a host is running already",
                        "speak to it with `lumivera ctl`, or end it with `lumivera ctl quit`");
    }
}

void ControlServer::welcome(int descriptor, bool isOfUser) {
    std::string problem;
    if (!isOfUser) {
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
