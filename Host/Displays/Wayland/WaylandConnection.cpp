#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include "Host/Displays/Wayland/WaylandConnection.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <poll.h>
#include <type_traits>

namespace Lumivera {

namespace {

/// A desktop that has just begun may be busy for a while.
constexpr double kAnswerSeconds = 15;
constexpr int kMaxReadsATurn = 16;
constexpr const char *kAdvice = "start it in a Wayland session, or set WAYLAND_DISPLAY";

std::string compositorName() {
    const char *name = std::getenv("WAYLAND_DISPLAY");
    return name && *name ? "Wayland compositor " + std::string(name) : "Wayland compositor";
}

/// Keeps the library from printing errors; lossReason() tells them.
void swallowComplaint(const char *, va_list) {}

} // namespace

WaylandConnection::WaylandConnection(DescriptorWaiter &waiter)
    : _waiter(waiter), _display(wl_display_connect(nullptr)) {
    if (!_display) {
        throw HostError(compositorName(), "there is none to connect to", kAdvice);
    }
    wl_log_set_handler_client(swallowComplaint);
}

WaylandConnection::~WaylandConnection() {
    if (_isServed) {
        _waiter.remove(*this);
    }
    wl_display_disconnect(_display);
}

void WaylandConnection::roundTrip() {
    static constexpr wl_callback_listener kListener{
        .done = [](void *data, wl_callback *, unsigned) { *static_cast<bool *>(data) = true; }};
    bool isAnswered = false;
    wl_callback *const callback = wl_display_sync(_display);
    wl_callback_add_listener(callback, &kListener, &isAnswered);
    const Clock::Nanoseconds deadline = Clock::current().deadlineAfter(kAnswerSeconds);
    bool isAlive = true;
    while (!isAnswered && isAlive) {
        isAlive = waitForEvents(deadline) && readEvents();
    }
    wl_callback_destroy(callback);
    if (!isAnswered) {
        throw HostError(compositorName(), lossReason(), kAdvice);
    }
}

void WaylandConnection::listen(Listener &listener) {
    _listener = &listener;
    _waiter.add(*this);
    _isServed = true;
}

int WaylandConnection::descriptor() const { return wl_display_get_fd(_display); }

short WaylandConnection::awaitedEvents() const {
    return static_cast<short>(_isSendingBlocked ? POLLIN | POLLOUT : POLLIN);
}

/// A connection that broke while sending is still read, because the compositor's error may be in
/// it.
bool WaylandConnection::prepareToWait() {
    _isSendingBlocked = wl_display_flush(_display) < 0 && errno == EAGAIN;
    if (wl_display_get_error(_display) != 0 || wl_display_prepare_read(_display) != 0) {
        return true;
    }
    wl_display_cancel_read(_display);
    return false;
}

/// The listener may destroy the connection when it hears of the loss.
void WaylandConnection::serve() {
    if (readEvents()) {
        _listener->eventsDispatched();
        return;
    }
    _waiter.remove(*this);
    _isServed = false;
    _listener->connectionLost(lossReason());
}

/// False when the deadline has passed.
bool WaylandConnection::waitForEvents(Clock::Nanoseconds deadline) {
    if (prepareToWait()) {
        return true;
    }
    const Clock::Nanoseconds left = deadline - Clock::current().now();
    pollfd polled{descriptor(), awaitedEvents(), 0};
    return left > 0 && (poll(&polled, 1, static_cast<int>(left / 1'000'000 + 1)) > 0 ||
                        Clock::current().now() < deadline);
}

/// Reads until nothing more arrives, within a limit, so that events which belong together are
/// settled together. Dispatches after every read: once a read fails, an error that arrived before
/// it could no longer be dispatched. False when the connection is lost.
bool WaylandConnection::readEvents() {
    for (int reads = 0; reads == 0 || (reads < kMaxReadsATurn && isReadable()); ++reads) {
        while (wl_display_prepare_read(_display) != 0) {
            if (wl_display_dispatch_pending(_display) < 0) {
                return false;
            }
        }
        if (wl_display_read_events(_display) < 0 || wl_display_dispatch_pending(_display) < 0) {
            return false;
        }
    }
    return true;
}

bool WaylandConnection::isReadable() const {
    pollfd polled{descriptor(), POLLIN, 0};
    return poll(&polled, 1, 0) > 0;
}

std::string WaylandConnection::lossReason() const {
    const int error = wl_display_get_error(_display);
    if (error == EPROTO) {
        const wl_interface *interface = nullptr;
        std::uint32_t id = 0;
        const std::uint32_t code = wl_display_get_protocol_error(_display, &interface, &id);
        return "the compositor reports error " + std::to_string(code) + " of " +
               (interface ? interface->name : "an object that is gone");
    }
    if (error == 0) {
        return "the compositor does not answer";
    }
    errno = error;
    return error == EPIPE || error == ECONNRESET
               ? "the compositor has ended the connection"
               : "the connection to the compositor broke: " + systemErrorText();
}

WaylandGlobals::~WaylandGlobals() {
    const auto end = [](auto *object, auto destroy) {
        if (object) {
            destroy(object);
        }
    };
    end(outputManager, zxdg_output_manager_v1_destroy);
    end(fractionalScales, wp_fractional_scale_manager_v1_destroy);
    end(viewporter, wp_viewporter_destroy);
    if (layerShell && zwlr_layer_shell_v1_get_version(layerShell) >= 3) {
        zwlr_layer_shell_v1_destroy(layerShell);
    } else if (layerShell) {
        wl_proxy_destroy(reinterpret_cast<wl_proxy *>(layerShell));
    }
    end(shm, wl_shm_destroy);
    end(compositor, wl_compositor_destroy);
}

void WaylandGlobals::bind(wl_registry *registry, std::uint32_t number, std::string_view interface,
                          std::uint32_t version) {
    const auto take = [&](auto *&object, const wl_interface &wanted, std::uint32_t known) {
        if (!object && interface == wanted.name) {
            object = static_cast<std::remove_reference_t<decltype(object)>>(
                bindNewest(registry, number, wanted, version, known));
        }
    };
    take(compositor, wl_compositor_interface, 4);
    take(shm, wl_shm_interface, 1);
    take(layerShell, zwlr_layer_shell_v1_interface, 4);
    take(viewporter, wp_viewporter_interface, 1);
    take(fractionalScales, wp_fractional_scale_manager_v1_interface, 1);
    take(outputManager, zxdg_output_manager_v1_interface, 3);
}

void WaylandGlobals::checkNeeds() const {
    if (!compositor || !shm) {
        throw HostError("Wayland", "this compositor shows no pictures from memory",
                        "use another desktop");
    }
    if (!layerShell) {
        throw HostError("Wayland",
                        "this desktop has no layer shell (GNOME for one), so nothing can be shown "
                        "behind its windows",
                        "show the wallpaper in a window with `lumivera run`, or log in to X11");
    }
}

void *WaylandGlobals::bindNewest(wl_registry *registry, std::uint32_t number,
                                 const wl_interface &interface, std::uint32_t offered,
                                 std::uint32_t known) {
    return wl_registry_bind(registry, number, &interface, std::min(offered, known));
}

} // namespace Lumivera
