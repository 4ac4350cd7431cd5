#pragma once

#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"

#include <functional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace Lumivera {

/// The system's message bus, or the user's, without blocking: answers come in later call-outs of
/// the main run loop. Without a bus no handler is called. Main thread.
class SystemBus final : private DescriptorSource {
  public:
    /// A method, signal or property of an object of a service.
    struct Member {
        std::string service;
        std::string path;
        std::string interface;
        std::string name;
    };

    /// The message belongs to the bus.
    using Handler = std::function<void(sd_bus_message &message)>;

    enum class Kind { System, User };

    explicit SystemBus(DescriptorWaiter &waiter, Kind kind = Kind::System);
    ~SystemBus();

    SystemBus(const SystemBus &) = delete;
    SystemBus &operator=(const SystemBus &) = delete;

    bool isConnected() const { return _bus != nullptr; }

    /// Sets the function that is called once when the connection is lost.
    void setLossHandler(std::function<void()> lost) { _lost = std::move(lost); }

    /// Calls the handler for every such signal from now on. If `firstArgument` is not empty, only
    /// signals with that first argument count.
    void listen(const Member &signal, const std::string &firstArgument, Handler handler);

    /// Calls a method with the arguments that `addArguments` appends. The handler gets the answer
    /// or the error.
    void call(const Member &method, const Handler &addArguments, Handler handler);

    /// Reads a property; its value is a variant, the first argument of the answer.
    void getProperty(const Member &property, Handler handler);

    /// Calls the handler whenever a property of the object's interface may have changed.
    void listenToProperties(const Member &object, Handler handler);

    /// Calls the handler whenever a service has appeared, was replaced or is gone.
    void listenToOwner(const std::string &service, std::function<void(bool isThere)> handler);

  private:
    int descriptor() const override;
    short awaitedEvents() const override;
    bool prepareToWait() override;
    void serve() override;
    void process();
    void processAtTimeout();
    void disconnect();

    DescriptorWaiter &_waiter;
    sd_bus *_bus = nullptr;
    std::function<void()> _lost;
    DeferredCall _processAtTimeout;
};

} // namespace Lumivera
