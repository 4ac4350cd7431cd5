#pragma once

#include "Host/Desktop/Control/ControlPeer.h"
#include "Host/Desktop/Control/ControlService.h"
#include "Host/Support/DeferredCall.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Lumivera {

/// Lets other programs of the user, and of root, ask the running host: one JSON object a line over
/// a Unix socket, and an answer in one line to each, in order. Main thread.
class ControlServer final : private DescriptorSource, private ControlPeer::Owner {
  public:
    /// Listens in a folder, which it makes. The target and the waiter are not owned; `desktop` is
    /// what the window system is called. A HostError when another host listens there already.
    ControlServer(DescriptorWaiter &waiter, ControlTarget &target, std::string desktop,
                  const std::string &folder);

    /// Leaves no socket behind.
    ~ControlServer();

    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

    const std::string &socketPath() const { return _path; }

    /// Programs that may be connected at a time; one more is turned away.
    static constexpr std::size_t kMaximumPeers = 64;

  private:
    void lock(const std::string &folder);
    void listenAtPath();

    int descriptor() const override { return _listener; }
    short awaitedEvents() const override;
    void serve() override;
    void restAWhile();
    void welcome(int descriptor);
    ControlPeer *findPeer(std::uint64_t number);

    void peerAsked(ControlPeer &peer, std::string_view line) override;
    void peerLeft(ControlPeer &peer) override;

    DescriptorWaiter &_waiter;
    ControlService _service;
    const std::string _path;
    int _lock = -1;
    int _listener = -1;
    DeferredCall _rest;
    std::uint64_t _lastNumber = 0;
    std::vector<std::unique_ptr<ControlPeer>> _peers;

    /// Answers that come when the server is gone go nowhere.
    std::shared_ptr<ControlServer *> _self;
};

} // namespace Lumivera
