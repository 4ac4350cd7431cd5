#pragma once

#include <cstdint>
#include <string>

namespace Lumivera {

/// What the X server has sent; valid while it is served.
class X11Event {
  public:
    explicit X11Event(const void *bytes) : _bytes(bytes) {}

    /// As the protocol numbers it; events that another client sent are numbered as the server's.
    std::uint8_t type() const { return *static_cast<const std::uint8_t *>(_bytes) & 0x7f; }

    /// What it is read as depends on the type.
    template <class Event> const Event &as() const { return *static_cast<const Event *>(_bytes); }

  private:
    const void *_bytes;
};

/// Hears of a connection to an X server, in call-outs of the main run loop.
class X11Listener {
  public:
    virtual void eventArrived(const X11Event &event) = 0;

    /// After one or several events that had arrived together.
    virtual void eventsEnded() = 0;

    /// Once; `reason` in words. Every request from then on does nothing.
    virtual void connectionLost(const std::string &reason) = 0;

  protected:
    ~X11Listener() = default;
};

} // namespace Lumivera
