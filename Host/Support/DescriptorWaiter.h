#pragma once

#include "Host/Support/DeferredCall.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <atomic>
#include <vector>

struct pollfd;

namespace Lumivera {

/// A source of events that come through a file descriptor. Main thread.
class DescriptorSource {
  public:
    virtual int descriptor() const = 0;

    /// The events to wait for, as flags of poll(); POLLIN unless overridden.
    virtual short awaitedEvents() const;

    /// Called right before every wait, outside of call-outs, to send what is pending. True when
    /// events have arrived already, so that the run loop must not wait.
    virtual bool prepareToWait() { return false; }

    /// Called in a call-out of the main run loop when the descriptor is ready or its other end was
    /// closed.
    virtual void serve() = 0;

  protected:
    ~DescriptorSource() = default;
};

/// Waits for descriptors and serves their sources. Main thread.
class DescriptorWatch {
  public:
    /// Sources are not owned. A removed source is not served any more, even when it is removed in
    /// the call-out that serves the ready ones.
    virtual void add(DescriptorSource &source) = 0;
    virtual void remove(DescriptorSource &source) = 0;

  protected:
    ~DescriptorWatch() = default;
};

/// Makes the main run loop wait for file descriptors during the object's life. Main thread, except
/// wake().
class DescriptorWaiter final : public RunLoopWaiter, public DescriptorWatch {
  public:
    DescriptorWaiter();
    ~DescriptorWaiter();

    DescriptorWaiter(const DescriptorWaiter &) = delete;
    DescriptorWaiter &operator=(const DescriptorWaiter &) = delete;

    void add(DescriptorSource &source) override;
    void remove(DescriptorSource &source) override;

    void wait(Clock::Nanoseconds nanoseconds) override;
    void wake() override;

  private:
    struct Entry {
        DescriptorSource *source;
        bool isReady;
    };

    /// Only a thread in State::Waiting has to be woken through the descriptor.
    enum class State { Running, Waiting, Woken };

    bool prepareSources();
    bool poll(Clock::Nanoseconds nanoseconds);
    void serveReadySources();

    std::vector<Entry> _entries;
    std::vector<pollfd> _polled;
    DeferredCall _serve;
    int _wakeDescriptor = -1;
    std::atomic<State> _state{State::Running};
};

} // namespace Lumivera
