#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <functional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace Lumivera {

/// The system's message bus, without ever waiting for it: whatever is asked is answered in a later
/// call-out of the main run loop. A bus that is not there, or goes, answers nothing. Main thread.
class SystemBus final : private DescriptorSource {
  public:
    /// Something at a service, or that comes from there.
    struct Member {
        std::string service;
        std::string path;
        std::string interface;
        std::string name;
    };

    /// The message is the bus's own.
    using Handler = std::function<void(sd_bus_message &message)>;

    explicit SystemBus(DescriptorWaiter &waiter);
    ~SystemBus();

    SystemBus(const SystemBus &) = delete;
    SystemBus &operator=(const SystemBus &) = delete;

    bool isConnected() const { return _bus != nullptr; }

    /// Called once when the bus goes.
    void setLossHandler(std::function<void()> lost) { _lost = std::move(lost); }

    /// Calls the handler at every such signal from now on. An argument that is not empty must be
    /// the signal's first.
    void listen(const Member &signal, const std::string &firstArgument, Handler handler);

    /// Calls a method. `addArguments` fills the message. The handler gets the answer or the error.
    void call(const Member &method, const Handler &addArguments, Handler handler);

    /// The value of a property, as a variant that is the answer's first argument.
    void getProperty(const Member &property, Handler handler);

    /// Calls the handler whenever a property of that object's interface may have changed.
    void listenToProperties(const Member &object, Handler handler);

    /// Calls the handler whenever a service has come to be there, another one in its place, or has
    /// gone.
    void listenToOwner(const std::string &service, std::function<void(bool isThere)> handler);

  private:
    int descriptor() const override;
    short awaitedEvents() const override;
    bool prepareToWait() override;
    void serve() override;
    void process();
    void processAtTimeout();
    void disconnect();
    std::string callName() const;

    DescriptorWaiter &_waiter;
    sd_bus *_bus = nullptr;
    std::function<void()> _lost;
};

} // namespace Lumivera
