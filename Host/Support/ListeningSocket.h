#pragma once

#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <functional>
#include <string>

namespace Lumivera {

/// A Unix socket at a path that accepts connections from other programs. Main thread.
class ListeningSocket final : private DescriptorSource {
  public:
    enum class Kind {
        Stream,
        Packets, ///< for PacketSocket
    };

    /// Called in a call-out of the main run loop with a new connection, which the callee owns;
    /// `isOfUser` is true for programs of this user and of root.
    using Accepted = std::function<void(int descriptor, bool isOfUser)>;

    /// Replaces what is at the path. Only the user may connect. Throws a HostError when the system
    /// refuses. The watch is not owned.
    ListeningSocket(DescriptorWatch &watch, Kind kind, std::string path, Accepted accepted);

    /// Removes the socket.
    ~ListeningSocket();

    ListeningSocket(const ListeningSocket &) = delete;
    ListeningSocket &operator=(const ListeningSocket &) = delete;

    const std::string &path() const { return _path; }

    /// Binds a socket to a path, or connects it to the one there. False, with errno set, when the
    /// system refuses; a HostError when the path is too long for a socket.
    static bool bindTo(const std::string &path, int descriptor);
    static bool connectTo(const std::string &path, int descriptor);

  private:
    int descriptor() const override { return _descriptor; }
    short awaitedEvents() const override;
    void serve() override;

    DescriptorWatch &_watch;
    const std::string _path;
    const Accepted _accepted;
    int _descriptor = -1;
    DeferredCall _rest;
};

} // namespace Lumivera
