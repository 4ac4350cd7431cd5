#pragma once

#include <cstddef>
#include <optional>
#include <utility>

namespace Lumivera {

/// One end of a connection between two processes that keeps packets apart. Each packet can carry a
/// file descriptor. Uses nothing else of this program, because extensions are built with it, too.
/// One thread.
class PacketSocket {
  public:
    /// Makes both ends of a connection; exec closes them. On failure neither is open.
    static std::pair<PacketSocket, PacketSocket> makePair();

    /// Owns the descriptor.
    explicit PacketSocket(int descriptor) : _descriptor(descriptor) {}
    PacketSocket(PacketSocket &&other) noexcept;
    PacketSocket &operator=(PacketSocket &&) = delete;
    ~PacketSocket();

    int descriptor() const { return _descriptor; }
    bool isOpen() const { return _descriptor >= 0; }

    enum class Wait { No, Yes };

    /// False when the other end is gone or, without waiting, when its buffer is full. An `attached`
    /// descriptor that is not negative goes along; the caller keeps it.
    bool send(const void *bytes, std::size_t count, Wait wait, int attached = -1) const;

    struct Packet {
        std::size_t count = 0; ///< received bytes; those beyond the capacity are lost
        int attached = -1;     ///< the caller closes it
    };

    enum class Outcome { Received, Nothing, Ended };

    /// Gives Outcome::Nothing only without waiting.
    Outcome receive(void *bytes, std::size_t capacity, Wait wait, Packet &packet) const;

  private:
    int _descriptor;
};

/// True when the program at the other end of the socket runs as this user or as root.
bool isPeerOfUser(int socket);

} // namespace Lumivera
