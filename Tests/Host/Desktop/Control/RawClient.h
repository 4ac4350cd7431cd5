#pragma once

#include "Tests/Host/Support/RealTimeLoop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Lumivera {

/// A client of a control socket that may break the protocol. Never blocks.
class RawClient {
  public:
    explicit RawClient(const std::string &path)
        : _descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        _isConnected =
            connect(_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }
    ~RawClient() { close(_descriptor); }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool isConnected() const { return _isConnected; }

    /// Sends as many of the bytes as the socket takes; how many these were.
    std::size_t send(std::string_view bytes) const {
        const ssize_t count = ::send(_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }

    /// Sends all bytes while the server is served; false when it does not take them.
    bool sendAll(std::string_view bytes) const {
        return serveUntil(
            [&] {
                bytes.remove_prefix(send(bytes));
                return bytes.empty();
            },
            10);
    }

    void endInput() const { shutdown(_descriptor, SHUT_WR); }

    /// The next line without its end; empty when none comes.
    std::string line() {
        serveUntil([&] { return receive() || _text.find('\n') != std::string::npos; }, 10);
        const std::size_t end = _text.find('\n');
        if (end == std::string::npos) {
            return {};
        }
        std::string found = _text.substr(0, end);
        _text.erase(0, end + 1);
        return found;
    }

    std::string ask(std::string_view request) {
        send(std::string(request) + "\n");
        return line();
    }

    /// True when the other end has closed the connection.
    bool isClosed() {
        return serveUntil([&] { return receive(); }, 10);
    }

  private:
    /// True when the server has closed the connection and everything was read.
    bool receive() {
        char part[4096];
        ssize_t count;
        while ((count = recv(_descriptor, part, sizeof part, 0)) > 0) {
            _text.append(part, static_cast<std::size_t>(count));
        }
        return count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
    }

    const int _descriptor;
    bool _isConnected = false;
    std::string _text;
};

} // namespace Lumivera
