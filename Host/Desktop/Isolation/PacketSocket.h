#pragma once

#include <cstddef>
#include <optional>
#include <utility>

namespace Lumivera {

/// One end of a connection between two processes that keeps packets apart and can carry a file
/// descriptor with each. Main thread.
class PacketSocket {
  public:
    /// Two ends of one connection, closed by an exec. A HostError when there can be none.
    static std::pair<PacketSocket, PacketSocket> makePair();

    /// Takes over a descriptor.
    explicit PacketSocket(int descriptor) : _descriptor(descriptor) {}
    PacketSocket(PacketSocket &&other) noexcept;
    PacketSocket &operator=(PacketSocket &&) = delete;
    ~PacketSocket();

    int descriptor() const { return _descriptor; }

    enum class Wait { No, Yes };

    /// False when the other end is gone or, without waiting, has too much to read already. The
    /// descriptor that goes along, if it is not negative, stays the caller's too.
    bool send(const void *bytes, std::size_t count, Wait wait, int attached = -1) const;

    struct Packet {
        std::size_t count = 0; ///< of the bytes that came; what did not fit is lost
        int attached = -1;     ///< the caller closes it
    };

    enum class Outcome { Received, Nothing, Ended };

    /// Nothing only without waiting.
    Outcome receive(void *bytes, std::size_t capacity, Wait wait, Packet &packet) const;

  private:
    int _descriptor;
};

} // namespace Lumivera
