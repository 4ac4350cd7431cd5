#include "Host/Displays/Wayland/SwaySocket.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

constexpr std::string_view kMagic = "i3-ipc";
constexpr int kMaxReadsInTurn = 16;

/// Before each message: the magic word, then the text's length and the kind in the machine's byte
/// order.
constexpr std::size_t kHeaderBytes = kMagic.size() + 2 * sizeof(std::uint32_t);

std::uint32_t wordAt(const std::string &bytes, std::size_t place) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

std::string messageOf(std::uint32_t kind, std::string_view text) {
    const std::array<std::uint32_t, 2> words{static_cast<std::uint32_t>(text.size()), kind};
    std::string message(kMagic);
    message.append(reinterpret_cast<const char *>(words.data()), sizeof words);
    return message.append(text);
}

/// The process at the other end; 0 when it is not known.
pid_t peerOf(int descriptor) {
    ucred peer{};
    socklen_t bytes = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0 ? peer.pid : 0;
}

/// Where the Sway of that process listens unless it was told otherwise.
std::string usualPath(pid_t sway) {
    const char *const folder = std::getenv("XDG_RUNTIME_DIR");
    return std::string(folder ? folder : "/tmp") + "/sway-ipc." + std::to_string(getuid()) + "." +
           std::to_string(sway) + ".sock";
}

/// A socket that is connected to the path; -1 when that fails.
int connectTo(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return -1;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (made >= 0 &&
        connect(made, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        ::close(made);
        return -1;
    }
    return made;
}

} // namespace

SwaySocket::SwaySocket(DescriptorWatch &waiter, Listener &listener)
    : _waiter(waiter), _listener(listener), _overdue([this] { lose(); }) {}

SwaySocket::~SwaySocket() { close(); }

bool SwaySocket::open(int compositor) {
    close();
    const pid_t sway = peerOf(compositor);
    const char *const named = std::getenv("SWAYSOCK");
    for (const std::string &path : {std::string(named ? named : ""), usualPath(sway)}) {
        const int connected = sway > 0 ? connectTo(path) : -1;
        if (connected >= 0 && peerOf(connected) == sway) {
            _descriptor = connected;
            _waiter.add(*this);
            return true;
        }
        ::close(connected);
    }
    return false;
}

void SwaySocket::close() {
    if (isOpen()) {
        _waiter.remove(*this);
        ::close(std::exchange(_descriptor, -1));
    }
    _received.clear();
    _awaitedAnswers = 0;
    _overdue.cancel();
}

/// Requests are few and short, so a socket that does not take one whole is as good as lost.
void SwaySocket::ask(std::uint32_t kind, std::string_view text) {
    if (!isOpen()) {
        return;
    }
    const std::string message = messageOf(kind, text);
    const ssize_t sent = send(_descriptor, message.data(), message.size(), MSG_NOSIGNAL);
    ++_awaitedAnswers;
    _overdue.callAfter(sent == static_cast<ssize_t>(message.size()) ? kAnswerSeconds : 0);
}

void SwaySocket::serve() {
    const bool isAlive = receive();
    if (isOpen() && (!takeMessages() || !isAlive)) {
        lose();
    }
}

/// False when the other end was closed.
bool SwaySocket::receive() {
    std::array<char, 65536> part;
    for (int reads = 0; reads < kMaxReadsInTurn; ++reads) {
        const ssize_t count = recv(_descriptor, part.data(), part.size(), 0);
        if (count <= 0) {
            return count < 0 && (errno == EAGAIN || errno == EINTR);
        }
        _received.append(part.data(), static_cast<std::size_t>(count));
    }
    return true;
}

/// False when what has come is no message. The listener may close the socket.
bool SwaySocket::takeMessages() {
    const std::string received = std::exchange(_received, {});
    std::size_t place = 0;
    while (isOpen() && received.size() - place >= kHeaderBytes) {
        const std::size_t bytes = wordAt(received, place + kMagic.size());
        if (received.compare(place, kMagic.size(), kMagic) != 0 || bytes > kMaxBytes) {
            return false;
        }
        if (received.size() - place - kHeaderBytes < bytes) {
            break;
        }
        const std::uint32_t kind = wordAt(received, place + kMagic.size() + sizeof(std::uint32_t));
        handle(kind, received.substr(place + kHeaderBytes, bytes));
        place += kHeaderBytes + bytes;
    }
    if (isOpen()) {
        _received = received.substr(place);
    }
    return true;
}

void SwaySocket::handle(std::uint32_t kind, const std::string &text) {
    if ((kind & kEvents) == 0 && _awaitedAnswers > 0 && --_awaitedAnswers == 0) {
        _overdue.cancel();
    }
    _listener.swaySays(kind, text);
}

void SwaySocket::lose() {
    close();
    _listener.swayLost();
}

} // namespace Lumivera
