#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Lumivera {

/// A connection of the control socket: receives lines, one after another, and sends answers as fast
/// as the other end reads them. Never blocks. Main thread.
class ControlPeer final : private DescriptorSource {
  public:
    class Owner {
      public:
        /// Called with a line without its line break. The next line follows after answer().
        virtual void peerAsked(ControlPeer &peer, std::string_view line) = 0;

        /// The connection is over. The owner destroys the peer, maybe within this call.
        virtual void peerLeft(ControlPeer &peer) = 0;

      protected:
        ~Owner() = default;
    };

    /// Owns the descriptor, a connected non-blocking socket.
    ControlPeer(DescriptorWaiter &waiter, int descriptor, std::uint64_t number, Owner &owner);
    ~ControlPeer();

    ControlPeer(const ControlPeer &) = delete;
    ControlPeer &operator=(const ControlPeer &) = delete;

    /// Unique in this process.
    std::uint64_t number() const { return _number; }

    /// Sends the answer to the last line.
    void answer(std::string_view text);

    /// True when no answer is due and the other end has either sent nothing that waits here, or
    /// does not read its answers.
    bool isIdle() const;

    /// Sends a last line, reads no more, and leaves when the line was sent.
    void dismiss(std::string_view text);

    /// No line is executed while more bytes than this wait to be sent.
    static constexpr std::size_t kMaxBacklog = std::size_t{256} * 1024;

    /// Lines that are executed before other descriptors are served.
    static constexpr int kMaxLinesInTurn = 32;

  private:
    int descriptor() const override { return _descriptor; }
    short awaitedEvents() const override;
    bool prepareToWait() override;
    void serve() override;
    bool hasRoom() const;
    void receive();
    void end();
    bool hasHungUp() const;
    void becomeDeaf();
    void takeLines();
    bool canTakeLine() const;
    void send();
    bool isDone() const;

    DescriptorWaiter &_waiter;
    const int _descriptor;
    const std::uint64_t _number;
    Owner &_owner;
    std::string _received;
    std::string _unsent;
    bool _hasEnded = false;
    bool _isAsking = false;
    bool _isDismissed = false;
    bool _isDeaf = false;
};

} // namespace Lumivera
