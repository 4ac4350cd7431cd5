#pragma once

#include "Host/Displays/X11/X11Atoms.h"
#include "Host/Displays/X11/X11Event.h"
#include "Host/Displays/X11/X11Reply.h"
#include "Host/Support/DescriptorWatch.h"
#include "Platform/Compositor/DeviceRect.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

struct xcb_connection_t;
struct xcb_extension_t;
struct xcb_screen_t;

namespace Lumivera {

/// The way to the X server that DISPLAY names, and what is known of it. Failed requests are passed
/// over: windows of other programs go at any time. Main thread.
class X11Connection final : private DescriptorSource {
  public:
    /// A HostError when there is no server, or none that shows 24-bit colours; `wayOut` tells the
    /// user what to do then. Neither the waiter nor the listener is owned.
    X11Connection(DescriptorWatch &waiter, X11Listener &listener, const std::string &wayOut = {});
    ~X11Connection();

    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    /// For requests.
    xcb_connection_t *get() const { return _connection; }

    std::uint32_t atom(X11Atom atom) const { return (*_atoms)[atom]; }
    std::uint32_t root() const;

    /// Of the whole screen, as it was when the connection was made, in pixels.
    DeviceRect rootArea() const;

    /// Whether the window is one of this connection's own.
    bool isOwn(std::uint32_t window) const;

    /// Whether the server reads pictures from memory that a descriptor stands for.
    bool takesSharedMemory() const { return _sharedMemoryEvent.has_value(); }
    bool isCompletion(const X11Event &event) const { return event.type() == _sharedMemoryEvent; }

    /// Whether the server tells its monitors.
    bool hasMonitors() const { return _monitorEvents.has_value(); }
    bool isMonitorChange(const X11Event &event) const;

    /// Whether the server tells when its screen saver comes and goes.
    bool hasScreenSaver() const { return _screenSaverEvent.has_value(); }
    bool isScreenSaverChange(const X11Event &event) const {
        return event.type() == _screenSaverEvent;
    }

    /// Whether windows may have other shapes than rectangles.
    bool hasShapes() const { return _hasShapes; }

    /// Whether the server's pixels have their bytes in the other order than ours.
    bool swapsBytes() const;

    /// A window without a background, so that nothing flashes, whose pixels are words 0x00RRGGBB.
    std::uint32_t createWindow(const DeviceRect &area, std::uint32_t awaitedEvents);
    std::uint8_t depth() const { return _depth; }

    /// Tells window managers whose window it is: the name of the program's file and of its kind.
    void setClass(std::uint32_t window);

    void setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                     std::string_view text);
    void setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                     const std::vector<std::uint32_t> &words);

    /// Asks for a property without waiting for it. What it gives is good for one propertyWords().
    unsigned askForProperty(std::uint32_t window, std::uint32_t name) const;

    /// Waits for a property of 32-bit words; nothing when there is none of that kind.
    std::optional<std::vector<std::uint32_t>> propertyWords(unsigned question) const;

  private:
    int descriptor() const override;
    bool prepareToWait() override;
    void serve() override;

    void chooseScreen(int number, const std::string &wayOut);
    bool chooseVisual();
    void findExtensions();
    bool isLocal() const;
    void serveEvent(void *event);
    void loseConnection();

    DescriptorWatch &_waiter;
    X11Listener &_listener;
    xcb_connection_t *_connection = nullptr;
    const xcb_screen_t *_screen = nullptr;
    std::optional<X11Atoms> _atoms;
    std::optional<std::uint8_t> _sharedMemoryEvent;
    std::optional<std::uint8_t> _monitorEvents;
    std::optional<std::uint8_t> _screenSaverEvent;
    bool _hasShapes = false;
    std::uint32_t _visual = 0;
    std::uint32_t _colormap = 0;
    std::uint8_t _depth = 0;
    X11Reply<void> _arrived;
    bool _isLost = false;
};

} // namespace Lumivera
