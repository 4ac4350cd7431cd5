#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <cstdint>
#include <string>
#include <string_view>

struct wl_compositor;
struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_shm;
struct wp_fractional_scale_manager_v1;
struct wp_viewporter;
struct zwlr_layer_shell_v1;
struct zxdg_output_manager_v1;

namespace Lumivera {

/// The connection to a Wayland compositor, served by the main run loop. Main thread.
class WaylandConnection final : public DescriptorSource {
  public:
    /// Hears of the connection in call-outs of the main run loop.
    class Listener {
      public:
        /// A batch of events that had arrived together was dispatched to their objects.
        virtual void eventsDispatched() = 0;

        /// Called once. The listener may destroy the connection within the call.
        virtual void connectionLost(const std::string &reason) = 0;

      protected:
        ~Listener() = default;
    };

    /// Connects to the compositor that the environment names. A HostError when there is none.
    explicit WaylandConnection(DescriptorWaiter &waiter);

    /// All objects of the connection must have been destroyed before.
    ~WaylandConnection();

    WaylandConnection(const WaylandConnection &) = delete;
    WaylandConnection &operator=(const WaylandConnection &) = delete;

    wl_display *display() const { return _display; }

    /// Waits until the compositor has handled every request so far. Before listen() only. A
    /// HostError when it does not answer within 15 seconds, or reports an error.
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

/// The globals of which a compositor has one each; null if it does not offer one. Main thread.
class WaylandGlobals final {
  public:
    WaylandGlobals() = default;
    ~WaylandGlobals();

    WaylandGlobals(const WaylandGlobals &) = delete;
    WaylandGlobals &operator=(const WaylandGlobals &) = delete;

    /// Binds the registry's global of that number if it is one of these.
    void bind(wl_registry *registry, std::uint32_t number, std::string_view interface,
              std::uint32_t version);

    /// A HostError when a global is missing that every wallpaper needs.
    void checkNeeds() const;

    /// Binds a global in the newest version that both sides know.
    static void *bindNewest(wl_registry *registry, std::uint32_t number,
                            const wl_interface &interface, std::uint32_t offered,
                            std::uint32_t known);

    wl_compositor *compositor = nullptr;
    wl_shm *shm = nullptr;
    zwlr_layer_shell_v1 *layerShell = nullptr;
    wp_viewporter *viewporter = nullptr;
    wp_fractional_scale_manager_v1 *fractionalScales = nullptr;
    zxdg_output_manager_v1 *outputManager = nullptr;
};

} // namespace Lumivera
