#pragma once

#include "Host/Displays/SharedBuffers.h"
#include "Host/Displays/X11/X11Connection.h"

#include <memory>

namespace Lumivera {

/// Shows the first buffer of shared memory in a window. The server reads the memory itself where it
/// can; elsewhere the pixels are sent to it. Main thread.
class X11Presenter {
  public:
    /// `depth` is the window's. Neither the connection nor the window is owned.
    X11Presenter(X11Connection &connection, std::uint32_t window, std::uint8_t depth);
    ~X11Presenter();

    X11Presenter(const X11Presenter &) = delete;
    X11Presenter &operator=(const X11Presenter &) = delete;

    /// Shows that memory from now on; nobody reads it yet. What is shown stays.
    void setBuffers(std::shared_ptr<SharedBuffers> memory);

    /// Shows the damaged parts of the buffer, or all of it the first time. The server reads the
    /// buffer until its release.
    void present(const std::vector<DeviceRect> &damage);

    /// Counts the buffer as presented, so that repaint() shows it in a window that is mapped anew.
    void resume() { _isShown = _memory != nullptr; }

    /// Shows again what the window has lost, in pixels of the window. Does nothing before the
    /// memory's first present().
    void repaint(const DeviceRect &rect);

    /// Asks for a release event, which arrives when the server has handled every request so far.
    void requestRelease();

    /// Whether the event is the release of the buffer, after which nobody but us touches it. True
    /// once after every present() and requestRelease().
    bool takesRelease(const X11Event &event);
    bool awaitsRelease() const { return _awaitsRelease; }

  private:
    void attach();
    void detach();
    bool isRelease(const X11Event &event) const;
    void show(const DeviceRect &rect, bool isLast);
    void sendRows(const DeviceRect &rect);
    void fillBand(const DeviceRect &rect);

    X11Connection &_connection;
    const std::uint32_t _window;
    const std::uint32_t _context;
    const std::uint8_t _depth;
    std::shared_ptr<SharedBuffers> _memory;
    std::vector<std::uint32_t> _band;

    /// The server's number for the memory; 0 where the pixels are sent.
    std::uint32_t _segment = 0;

    /// Tells the release message that is awaited from earlier ones.
    std::uint32_t _releaseNumber = 0;
    bool _awaitsRelease = false;

    /// The release is the completion event of the segment, not a message.
    bool _awaitsCompletion = false;
    bool _isShown = false;
};

} // namespace Lumivera
