#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Lumivera {

/// One program at the other end of a control socket: takes its lines in, one after another, and
/// sends it answers as fast as it reads them. Never waits for it. Main thread.
class ControlPeer final : private DescriptorSource {
  public:
    class Owner {
      public:
        /// A line without its end. The next one comes after answer() was called.
        virtual void peerAsked(ControlPeer &peer, std::string_view line) = 0;

        /// The peer wants to be destroyed, which may happen within the call.
        virtual void peerLeft(ControlPeer &peer) = 0;

      protected:
        ~Owner() = default;
    };

    /// Takes over the descriptor of a connected socket that does not block.
    ControlPeer(DescriptorWaiter &waiter, int descriptor, std::uint64_t number, Owner &owner);
    ~ControlPeer();

    ControlPeer(const ControlPeer &) = delete;
    ControlPeer &operator=(const ControlPeer &) = delete;

    /// Never that of another peer of this process.
    std::uint64_t number() const { return _number; }

    /// Sends the answer to the last line.
    void answer(std::string_view text);

    /// Sends a last line, takes no more, and leaves when the other end has read it.
    void dismiss(std::string_view text);

    /// Largest number of bytes that wait to be sent while lines are still taken, one answer more at
    /// most; and how many lines are taken before others have their turn.
    static constexpr std::size_t kMaximumBacklog = std::size_t{256} * 1024;
    static constexpr int kLinesInTurn = 32;

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
