#pragma once

#include "Host/Support/PacketSocket.h"

#include <cstdint>
#include <fcntl.h>
#include <random>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

/// A packet that breaks the rules of the picture protocol, or that keeps them by chance: one of
/// the messages with some of its bytes, its length or its descriptor changed.
class Malformed {
  public:
    explicit Malformed(unsigned seed) : _random(seed) {}

    void send(const Lumivera::PacketSocket &socket,
              const std::vector<std::vector<std::uint8_t>> &messages) {
        std::vector<std::uint8_t> bytes = messages[below(messages.size())];
        for (std::size_t changes = below(6); changes > 0; --changes) {
            bytes[below(bytes.size())] = static_cast<std::uint8_t>(below(256));
        }
        if (below(3) == 0) {
            bytes.resize(1 + below(bytes.size() * 2));
        }
        const int attached = below(3) == 0 ? descriptor() : -1;
        socket.send(bytes.data(), bytes.size(), Lumivera::PacketSocket::Wait::No, attached);
        if (attached >= 0) {
            close(attached);
        }
    }

  private:
    std::size_t below(std::size_t limit) { return _random() % limit; }

    /// Memory without seals, of any length, or no memory at all.
    int descriptor() {
        if (below(2) == 0) {
            return open("/dev/zero", O_RDWR | O_CLOEXEC);
        }
        const int memory = memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        if (ftruncate(memory, static_cast<off_t>(below(100'000))) != 0) {
            close(memory);
            return -1;
        }
        return memory;
    }

    std::mt19937 _random;
};
