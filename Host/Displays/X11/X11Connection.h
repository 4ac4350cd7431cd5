#pragma once

#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Compositor/DeviceRect.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct xcb_connection_t;
struct xcb_screen_t;

namespace Lumivera {

struct X11ReplyDeleter {
    void operator()(void *reply) const { std::free(reply); }
};

/// A reply or an event of the X server. Null for a request that failed.
template <class Reply> using X11Reply = std::unique_ptr<Reply, X11ReplyDeleter>;

/// An event of the X server; valid during the call that it is passed to.
class X11Event {
  public:
    explicit X11Event(const void *bytes) : _bytes(bytes) {}

    /// The event's number in the protocol, without the flag of events that another client sent.
    std::uint8_t type() const { return *static_cast<const std::uint8_t *>(_bytes) & 0x7f; }

    /// `Event` must be the structure that belongs to type().
    template <class Event> const Event &as() const { return *static_cast<const Event *>(_bytes); }

  private:
    const void *_bytes;
};

/// Hears of a connection to an X server, in call-outs of the main run loop.
class X11Listener {
  public:
    virtual void eventArrived(const X11Event &event) = 0;

    /// Called after a batch of events that had arrived together.
    virtual void eventsEnded() = 0;

    /// Called once; `reason` is for people. From then on requests do nothing.
    virtual void connectionLost(const std::string &reason) = 0;

  protected:
    ~X11Listener() = default;
};

/// Atoms of the conventions between the programs of an X11 desktop.
enum class X11Atom {
    Utf8String,
    LumiveraRelease,
    Manager,
    NetClientListStacking,
    NetCurrentDesktop,
    NetFrameExtents,
    NetShowingDesktop,
    NetSupportingWMCheck,
    NetWMDesktop,
    NetWMName,
    NetWMOpaqueRegion,
    NetWMPid,
    NetWMState,
    NetWMStateBelow,
    NetWMStateFullScreen,
    NetWMStateHidden,
    NetWMStateMaximizedHorz,
    NetWMStateMaximizedVert,
    NetWMStateSkipPager,
    NetWMStateSkipTaskbar,
    NetWMStateSticky,
    NetWMStrut,
    NetWMStrutPartial,
    NetWMWindowOpacity,
    NetWMWindowType,
    NetWMWindowTypeDesktop,
    NetWMWindowTypeDock,
    NetWorkArea,
    WMWindowRole,
    XSettingsSettings,
    Count,
};

/// Selections of a screen, which a program owns while it does a task for the whole screen.
enum class X11Selection {
    CompositingManager,
    Settings,
    Count,
};

/// A connection to the X server that DISPLAY names, and what that server can do. Requests that fail
/// are ignored, because other programs' windows go at any time. Main thread.
class X11Connection final : private DescriptorSource {
  public:
    /// A HostError when there is no server, one that does not answer within 15 seconds, or none
    /// that shows 24-bit colours. Neither the waiter
    /// nor the listener is owned.
    X11Connection(DescriptorWatch &waiter, X11Listener &listener);
    ~X11Connection();

    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    /// The connection, for requests.
    xcb_connection_t *get() const { return _connection; }

    /// The server's number for the atom.
    std::uint32_t atom(X11Atom atom) const { return _atoms[static_cast<std::size_t>(atom)]; }
    std::uint32_t root() const;

    /// The whole screen, as it was when the connection was made, in pixels.
    DeviceRect rootArea() const;

    /// Whether this connection created the window.
    bool isOwn(std::uint32_t window) const;

    /// Whether the server can map shared memory from a file descriptor.
    bool takesSharedMemory() const { return _sharedMemoryEvent.has_value(); }

    /// Whether the event is the server's notice that it has read an image from shared memory.
    bool isCompletion(const X11Event &event) const { return event.type() == _sharedMemoryEvent; }

    /// Whether the server reports its monitors.
    bool hasMonitors() const { return _monitorEvents.has_value(); }
    bool isMonitorChange(const X11Event &event) const;

    /// Whether the server reports when its screen saver starts and ends.
    bool hasScreenSaver() const { return _screenSaverEvent.has_value(); }
    bool isScreenSaverChange(const X11Event &event) const {
        return event.type() == _screenSaverEvent;
    }

    /// Whether windows may have other shapes than rectangles.
    bool hasShapes() const { return _hasShapes; }

    /// Whether windows may have pixels with an opacity, which a compositing manager blends.
    bool hasTransparentWindows() const { return _transparent.visual != 0; }

    /// Whether the server reports what pointers do, whichever window they belong to.
    bool hasRawInput() const { return _inputExtension.has_value(); }

    /// Whether the event is one of the input extension, of that number there.
    bool isInput(const X11Event &event, std::uint16_t number) const;

    /// Whether the server's pixels begin with their lowest byte, and whether its byte order differs
    /// from this machine's.
    bool isServerLittle() const;
    bool swapsBytes() const;

    struct WindowKind {
        /// Its pixels are premultiplied words 0xAARRGGBB; else 0x00RRGGBB.
        bool isTransparent = false;

        /// The window manager leaves it alone.
        bool isUnmanaged = false;

        bool operator==(const WindowKind &) const = default;
    };

    /// Creates a window without a background, which would flash before the first picture.
    /// `eventMask` selects its events.
    std::uint32_t createWindow(const DeviceRect &area, const WindowKind &kind,
                               std::uint32_t eventMask);
    std::uint8_t depth(bool isTransparent) const;

    /// Asks for the window that owns the selection, without waiting. The result is good for one
    /// selectionOwner().
    unsigned askForOwner(X11Selection selection) const;

    /// Waits for the owner; 0 when there is none.
    std::uint32_t selectionOwner(unsigned question) const;

    /// The program's class.
    static constexpr std::string_view kClass = "Lumivera";

    /// Sets the class, by which window managers know the program.
    void setClass(std::uint32_t window);

    void setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                     std::string_view text);
    void setProperty(std::uint32_t window, std::uint32_t name, std::uint32_t type,
                     const std::vector<std::uint32_t> &words);

    /// Asks for a property without waiting. The result is good for one propertyWords().
    unsigned askForProperty(std::uint32_t window, std::uint32_t name) const;

    /// Waits for a property of 32-bit words; nothing when there is none of that kind.
    std::optional<std::vector<std::uint32_t>> propertyWords(unsigned question) const;

    /// Waits for a property of bytes; empty when there is none of that kind.
    std::string propertyBytes(unsigned question) const;

  private:
    /// A connection that closes itself, and the number of its screen.
    struct Opened {
        std::shared_ptr<xcb_connection_t> connection;
        int screen = 0;
    };

    static Opened connect();
    /// What the pixels of a window mean.
    struct Colors {
        std::uint32_t visual = 0;
        std::uint32_t colormap = 0;
        std::uint8_t depth = 0;
    };

    int descriptor() const override;
    bool prepareToWait() override;
    void serve() override;

    void chooseScreen(int number);
    bool chooseVisuals();
    void internAtoms(int screen);
    void findExtensions();
    void findInput();
    bool isLocal() const;
    void serveEvent(void *event);
    void loseConnection();

    DescriptorWatch &_waiter;
    X11Listener &_listener;
    std::shared_ptr<xcb_connection_t> _owned;
    xcb_connection_t *_connection = nullptr;
    const xcb_screen_t *_screen = nullptr;
    std::array<std::uint32_t, static_cast<std::size_t>(X11Atom::Count)> _atoms{};
    std::array<std::uint32_t, static_cast<std::size_t>(X11Selection::Count)> _selections{};
    std::optional<std::uint8_t> _sharedMemoryEvent;
    std::optional<std::uint8_t> _monitorEvents;
    std::optional<std::uint8_t> _screenSaverEvent;
    std::optional<std::uint8_t> _inputExtension;
    bool _hasShapes = false;
    Colors _opaque;
    Colors _transparent;
    X11Reply<void> _arrived;
    bool _isLost = false;
};

} // namespace Lumivera
