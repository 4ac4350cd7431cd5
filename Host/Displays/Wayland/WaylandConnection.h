#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <string>

struct wl_display;

namespace Lumivera {

/// The connection to a Wayland compositor, served by the main run loop. Main thread.
class WaylandConnection final : public DescriptorSource {
  public:
    /// Hears of the connection in call-outs of the main run loop.
    class Listener {
      public:
        /// All events that have arrived were handed to the objects that they are for.
        virtual void eventsDispatched() = 0;

        /// Told once. The connection may go within the call.
        virtual void connectionLost(const std::string &reason) = 0;

      protected:
        ~Listener() = default;
    };

    /// Connects to the compositor that the environment names. A HostError when there is none.
    explicit WaylandConnection(DescriptorWaiter &waiter);

    /// Everything that was made through the connection goes before.
    ~WaylandConnection();

    WaylandConnection(const WaylandConnection &) = delete;
    WaylandConnection &operator=(const WaylandConnection &) = delete;

    wl_display *display() const { return _display; }

    /// Waits until the compositor has answered everything that was asked so far. Before listen()
    /// only. A HostError when it does not answer within a few seconds, or refuses.
    void roundTrip();

    /// From now on the main run loop serves the connection. The listener is not owned.
    void listen(Listener &listener);

    int descriptor() const override;
    short awaitedEvents() const override;
    bool prepareToWait() override;
    void serve() override;

  private:
    bool waitForEvents(Clock::Nanoseconds deadline);
    bool readEvents();
    bool isReadable() const;
    std::string lossReason() const;

    DescriptorWaiter &_waiter;
    wl_display *_display = nullptr;
    Listener *_listener = nullptr;
    bool _isSendingBlocked = false;
    bool _isServed = false;
};

} // namespace Lumivera
