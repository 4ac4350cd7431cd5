#pragma once

#include "Host/Displays/X11/X11Connection.h"
#include "Host/Support/DeferredCall.h"
#include "Platform/CoreGraphics/CGGeometry.h"

#include <functional>

namespace Lumivera {

/// Completes a window that another library opens: reads the desktop's density, sets the window's
/// class and tells whether other windows hide it. Has a connection of its own. Main thread.
class X11WindowWatch final : private X11Listener, private DescriptorWatch {
  public:
    /// `obscuredChanged` is called in call-outs of the main run loop. A HostError when there is no
    /// X server, or none that shows 24-bit colours.
    explicit X11WindowWatch(std::function<void()> obscuredChanged);

    /// Pixels a point by the desktop's settings; empty when they do not set it.
    std::optional<CGFloat> density();

    /// Call it before the window is mapped: window managers read the class then.
    void watch(std::uint32_t window);

    /// True while other windows hide all of the window. A compositing manager keeps the server from
    /// knowing that.
    bool isObscured() const { return _isObscured; }

    /// Call it when the other library reports that a part of the window was exposed.
    void noteExposed();

    /// Lets the main run loop serve what has arrived. Never waits.
    void look();

  private:
    void eventArrived(const X11Event &event) override;
    void eventsEnded() override {}
    void connectionLost(const std::string &) override { _isObscured = false; }
    void add(DescriptorSource &source) override { _source = &source; }
    void remove(DescriptorSource &) override { _source = nullptr; }
    void roundTrip();

    const std::function<void()> _obscuredChanged;
    DescriptorSource *_source = nullptr;
    X11Connection _connection;
    DeferredCall _serve;
    bool _isObscured = false;
};

} // namespace Lumivera
