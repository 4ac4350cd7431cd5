#pragma once

#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Lumivera {

/// A connection to Sway's socket: the one that SWAYSOCK names, or that of the usual name, because
/// programs that the session's service manager starts lack the variable. It never waits: what Sway
/// says comes in call-outs of the main run loop. Main thread.
class SwaySocket final : private DescriptorSource {
  public:
    /// The kinds of requests; an answer bears its request's kind.
    static constexpr std::uint32_t kSubscribe = 2;
    static constexpr std::uint32_t kGetTree = 4;

    /// The kinds of events.
    static constexpr std::uint32_t kEvents = std::uint32_t{1} << 31;
    static constexpr std::uint32_t kWindowEvent = kEvents | 3;

    /// A longer message ends the connection. A window takes about 2 KiB of a tree.
    static constexpr std::size_t kMaxBytes = std::size_t{4} << 20;

    /// An answer that takes longer ends the connection.
    static constexpr NSTimeInterval kAnswerSeconds = 5;

    class Listener {
      public:
        virtual void swaySays(std::uint32_t kind, const std::string &text) = 0;

        /// The connection was ended, by either side. Called once, never within a call to the
        /// socket.
        virtual void swayLost() = 0;

      protected:
        ~Listener() = default;
    };

    /// Neither is owned.
    SwaySocket(DescriptorWatch &waiter, Listener &listener);
    ~SwaySocket();

    SwaySocket(const SwaySocket &) = delete;
    SwaySocket &operator=(const SwaySocket &) = delete;

    /// Connects, if the socket belongs to the process that `compositor` is a connection to: the
    /// variable may be left from another session. False when there is no such socket.
    bool open(int compositor);
    void close();
    bool isOpen() const { return _descriptor >= 0; }

    /// Does nothing when the socket is not open.
    void ask(std::uint32_t kind, std::string_view text = {});

  private:
    int descriptor() const override { return _descriptor; }
    void serve() override;
    bool receive();
    bool takeMessages();
    void handle(std::uint32_t kind, const std::string &text);
    void lose();

    DescriptorWatch &_waiter;
    Listener &_listener;
    int _descriptor = -1;
    std::string _received;
    std::size_t _awaitedAnswers = 0;
    DeferredCall _overdue;
};

} // namespace Lumivera
