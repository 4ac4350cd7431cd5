#pragma once

#include "Platform/Foundation/NSRunLoop.h"

#include <atomic>
#include <vector>

struct pollfd;

namespace Lumivera {

/// Something that events come from through a file descriptor. Main thread.
class DescriptorSource {
  public:
    virtual int descriptor() const = 0;

    /// What to wait for, as poll() calls it; POLLIN unless overridden.
    virtual short awaitedEvents() const;

    /// Right before every wait, outside of call-outs: sends what is pending. True when something
    /// has arrived already, so that there is nothing to wait for.
    virtual bool prepareToWait() { return false; }

    /// In a call-out of the main run loop, after the descriptor became ready; also when it was
    /// closed at its other end.
    virtual void serve() = 0;

  protected:
    ~DescriptorSource() = default;
};

/// The main run loop's way to wait for file descriptors, as long as the object lives. Main thread
/// but for wake().
class DescriptorWaiter final : public RunLoopWaiter {
  public:
    DescriptorWaiter();
    ~DescriptorWaiter();

    DescriptorWaiter(const DescriptorWaiter &) = delete;
    DescriptorWaiter &operator=(const DescriptorWaiter &) = delete;

    /// Not owned. A removed source hears nothing any more, even within the call-out in progress.
    void add(DescriptorSource &source);
    void remove(DescriptorSource &source);

    void wait(Clock::Nanoseconds nanoseconds) override;
    void wake() override;

  private:
    void serveReadySources();

    struct Entry {
        DescriptorSource *source;
        bool isReady;
    };

    std::vector<Entry> _entries;
    std::vector<pollfd> _polled;
    int _wakeDescriptor = -1;
    std::atomic<bool> _isWakePending{false};
    bool _isServePending = false;
};

} // namespace Lumivera
