#pragma once

#include "Host/Desktop/Control/ControlPeer.h"
#include "Host/Desktop/Control/ControlService.h"
#include "Host/Support/ListeningSocket.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lumivera {

/// Accepts requests to the running host from programs of the user and of root: one JSON object a
/// line over a Unix socket, each answered in one line, in order. Main thread.
class ControlServer final : private ControlPeer::Owner {
  public:
    /// Makes the folder and listens in it. `desktop` is the window system's name. The target and
    /// the waiter are not owned. Throws a HostError when another host listens there.
    ControlServer(DescriptorWaiter &waiter, ControlTarget &target, std::string desktop,
                  const std::string &folder);

    /// Removes the socket.
    ~ControlServer();

    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

    const std::string &socketPath() const { return _listener->path(); }

    /// Limit of connections at a time. Another program takes the place of the one that has been
    /// silent for the longest time, and is refused when all of them wait for answers.
    static constexpr std::size_t kMaxPeers = 64;

  private:
    void lock(const std::string &folder);
    void welcome(int descriptor, bool isOfUser);
    bool makeRoom();
    ControlPeer *findPeer(std::uint64_t number);

    void peerAsked(ControlPeer &peer, std::string_view line) override;
    void peerLeft(ControlPeer &peer) override;

    DescriptorWaiter &_waiter;
    ControlService _service;
    int _lock = -1;
    std::optional<ListeningSocket> _listener;
    std::uint64_t _lastNumber = 0;
    std::vector<std::unique_ptr<ControlPeer>> _peers;

    /// Null when the server is gone, so that later answers are dropped.
    std::shared_ptr<ControlServer *> _self;
};

} // namespace Lumivera
